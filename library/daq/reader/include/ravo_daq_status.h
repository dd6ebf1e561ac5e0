// The numeric codes that the reading layers share: statuses, directions and synch modes. The layers
// use the same values, so that a status passes upward unchanged.
#ifndef RAVO_DAQ_STATUS_H
#define RAVO_DAQ_STATUS_H

/// Statuses of the channel readers.
enum ravo_daq_read_chan_data_status : int {
  RAVO_DAQ_READ_CHAN_OK = 0,
  RAVO_DAQ_READ_CHAN_NO_DATA = -1,        ///< the requested event does not exist
  RAVO_DAQ_READ_CHAN_NOT_READY = -2,      ///< the data are not decoded yet
  RAVO_DAQ_READ_CHAN_OUT_OF_WINDOW = -3,  ///< the requested event lies outside the file
  RAVO_DAQ_READ_CHAN_NOT_INIT = -4,       ///< an operation before the object was set up
  RAVO_DAQ_READ_CHAN_NOT_FOUND = -5,      ///< the file does not know the channel
  RAVO_DAQ_READ_CHAN_INTERN_ERROR = -6,   ///< an allocation, mapping or decoding failure
  RAVO_DAQ_READ_CHAN_INV_PARAM = -7,      ///< a null or out-of-range argument
};

/// Statuses of the slicer.
enum ravo_daq_slicer_status : int {
  RAVO_DAQ_SLICER_OK = 0,
  RAVO_DAQ_SLICER_NO_DATA = -1,
  RAVO_DAQ_SLICER_NOT_READY = -2,
  RAVO_DAQ_SLICER_OUT_OF_WINDOW = -3,  ///< from get_data: no channel is left, the end of the data
  RAVO_DAQ_SLICER_NOT_INIT = -4,
  RAVO_DAQ_SLICER_NOT_FOUND = -5,
  RAVO_DAQ_SLICER_INTERN_ERROR = -6,
  RAVO_DAQ_SLICER_INV_PARAM = -7,
  RAVO_DAQ_SLICER_NOT_ALLOWED = -8,  ///< a setting changed after start()
};

/// Statuses of the reader.
enum ravo_daq_reader_status : int {
  RAVO_DAQ_READER_OK = 0,
  RAVO_DAQ_READER_NO_DATA = -1,
  RAVO_DAQ_READER_NOT_READY = -2,
  RAVO_DAQ_READER_OUT_OF_WINDOW = -3,  ///< from get_data: the end of the data
  RAVO_DAQ_READER_NOT_INIT = -4,
  RAVO_DAQ_READER_NOT_FOUND = -5,
  RAVO_DAQ_READER_INTERN_ERROR = -6,
  RAVO_DAQ_READER_INV_PARAM = -7,
  RAVO_DAQ_READER_NOT_ALLOWED = -8,
  RAVO_DAQ_READER_BAD_FILE_FORMAT = -9,
  RAVO_DAQ_READER_FILES_NOT_FOUND = -10,
};

/// Which event is asked for, relative to a reference.
enum ravo_daq_read_chan_request_type : int {
  RAVO_DAQ_READ_CHAN_EVENT_FIRST = -2,  ///< the earliest
  RAVO_DAQ_READ_CHAN_EVENT_PREV = -1,   ///< one step before the reference
  RAVO_DAQ_READ_CHAN_EVENT_CUR = 0,     ///< the reference itself
  RAVO_DAQ_READ_CHAN_EVENT_NEXT = 1,    ///< one step after the reference
  RAVO_DAQ_READ_CHAN_EVENT_LAST = 2,    ///< the latest
};

/// How channels are aligned.
enum ravo_daq_slicer_synch_mode : int {
  RAVO_DAQ_SLICER_SYNCH_MODE_EVID = 0,  ///< by event number
  RAVO_DAQ_SLICER_SYNCH_MODE_TIME = 1,  ///< by time, within the time difference
};

#endif
