// The name of a raw file: <experiment>_<stream>_run<N>_file<M>_<YYYYMMDDThhmmssZ>.raw.
#ifndef RAVO_WRITER_FILE_NAME_H
#define RAVO_WRITER_FILE_NAME_H

#include <string>

#include "outcome.h"
#include "ravo_daq/raw_writer.h"

namespace ravo::writer {

/// Whether names can be made from these settings.
outcome check_name_parts(const ravo_daq_writer_settings& settings);

/// The name of file number `file`, whose first event has the given time.
std::string file_name(const ravo_daq_writer_settings& settings, int file, const time_stamp& first);

}  // namespace ravo::writer

#endif
