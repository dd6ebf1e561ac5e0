// The user access layer: simple classes for programs that want channels by name and values by event.
// ravo_daq_getdata is a cursor over one event's results, of both generations. It owns no entries: it points
// into what a reader handed out, and is valid until that reader's next get_data().
#ifndef RAVO_DAQ_DATA_H
#define RAVO_DAQ_DATA_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_export.h"
#include "ravo_payload.h"
#include "ravo_raw_format.h"

class ravo_daq_reader;
class ravo_daq_reader_2010;

/// A cursor over the channels of one event, as a reader's get_data() delivers them. It selects one channel
/// at a time and describes it. The pattern of an event's header alone determines its generation: if the
/// pattern is damaged, blocks are read in the wrong layout, mostly as blocks without data. The pointers
/// that the cursor hands out point into the entries. A block is never read beyond its `ldata`. Only an
/// index outside the vector throws (std::out_of_range). One cursor belongs to one thread at a time; several
/// cursors may read the same event.
class ravo_daq_getdata {
 public:
  ravo_daq_getdata() = default;
  RAVO_EXPORT ~ravo_daq_getdata();
  ravo_daq_getdata(const ravo_daq_getdata&) = delete;
  ravo_daq_getdata& operator=(const ravo_daq_getdata&) = delete;

  // ---- selecting a channel ----

  /// Takes the results of an event and selects the first channel. Returns the number of channels; -12 for
  /// null, -11 for an empty vector, or the failure of SetHead(). The counts of fast, slow and image
  /// channels add up from call to call: call Clean() before the next event.
  RAVO_EXPORT int SetRes(std::vector<ravo_channel_entry_long*>* res);
  /// Selects the entry of the current index. 0; -1: no entry, -2: no event header, -3: no server block,
  /// -4: no channel header.
  RAVO_EXPORT int SetHead();
  // The following return the class of the channel that they select (GetPropType), 0 if there is no such
  // channel, -1 if nothing is selected yet, or the failure of SetHead().
  RAVO_EXPORT int SetNextChan();
  RAVO_EXPORT int SetChan(int i);
  RAVO_EXPORT int SetFastNext();
  RAVO_EXPORT int SetSlowNext();
  RAVO_EXPORT int SetImageNext();
  /// The n-th, from 0, of its kind.
  RAVO_EXPORT int SetFast(int n);
  RAVO_EXPORT int SetSlow(int n);
  RAVO_EXPORT int SetImage(int n);
  /// By channel name; a slow channel by the name of its property. -11: there is no such channel; -10:
  /// nothing is selected yet.
  RAVO_EXPORT int SetProp(const char* name);
  /// Back to the constructed state.
  RAVO_EXPORT void Clean();

  // ---- what is selected ----

  /// Index of a member of the channel's type, or -1.
  RAVO_EXPORT int GetMembNumb(const char* name);
  /// Name of a member of the channel's type (static text), or null.
  RAVO_EXPORT char* GetMembName(int i);
  // Every output may be null. 0, or negative.
  /// The event, from the header of its first fast channel; if all are slow, of the highest event number.
  RAVO_EXPORT int GetEventInfo(unsigned* event_number, int* event_type, unsigned* event_length,
                               unsigned* timeup, unsigned* timelow, int* status, int* num_svr_block);
  RAVO_EXPORT int GetServBlockInfo(unsigned* timeup, unsigned* timelow, int* ltotal, int* mpulse,
                                   int* tmask, int* status, int* nchan);
  RAVO_EXPORT int GetChanInfo(char** name, int* dtype, int* error, int* ldata);
  /// The data of an older event's channel as a text with its length; null if they are not a text.
  RAVO_EXPORT char* GetString(int, int* len);

  std::vector<ravo_channel_entry_long*>* GetRes() const { return Res; }
  int Get_NFast() const { return NFast; }
  int Get_NSlow() const { return NSlow; }
  int Get_NImage() const { return NImage; }
  int GetNchan() const { return Nchan; }
  int GetChanNumb() const { return Ichan; }
  /// The name of a fast channel. For a slow channel the beginning of its data, which for an update is the
  /// name of the property; check GetDataType() before you use other data as a text.
  char* GetPropName() const { return PropName; }
  /// 1: text, 2: service and name-value data, 3: fast data, 4: image.
  int GetPropType() const { return PropType; }
  /// 1: fast, 2: slow.
  int GetChanType() const { return ChanType; }
  int GetDataType() const { return DataType; }
  /// The data type of the block as the device wrote it: for a subchannel, the type of the block that it was
  /// cut from, otherwise the channel's own.
  int GetDeviceType() const {
    const int cut_from = DataType >> 16 & 0xffff;
    return cut_from ? cut_from : DataType & 0xffff;
  }
  int GetNmemb() const { return Nmemb; }
  ravo_eventheader* GetEventHead() const { return EventHeader; }
  ravo_serv_block_head* GetServBlockHead() const { return SrvbHeader; }
  ravo_serv_block_head_2010* GetServBlockHead_2010() const { return SrvbHeader_2010; }
  ravo_serv_block_subhead* GetChanHead() const { return ChanHeader; }
  ravo_serv_block_subhead_2010* GetChanHead_2010() const { return ChanHeader_2010; }
  char* GetData() const { return Data; }

  // ---- images ----

  /// Frame number, compression indicator, bytes per pixel and number of pixel bytes. 0; -2 without data, -1
  /// for a channel that is not an image.
  RAVO_EXPORT int GetImagePar(int* nframe, int* compr, int* bpp, int* len);
  /// Start, increment and number of pixels along both axes. Returns the number of pixel bytes; -2, -1.
  RAVO_EXPORT int GetImageSize(int* xstart, int* xinc, int* nx, int* ystart, int* yinc, int* ny);
  /// The head of an extended frame, or null.
  RAVO_EXPORT ravo_image_ext_frame_head* GetImageHeader();
  /// The first pixel byte; null if the block holds fewer bytes than the frame's head says.
  RAVO_EXPORT char* GetImage();
  /// The pixels as floats, row after row; null if the frame is inconsistent. For pixels of more than 4
  /// bytes the last 4 count. Arrays of earlier calls stay valid until Clean().
  RAVO_EXPORT float* ConvertImage();
  float* GetImageFloat() const { return ImageFloat; }
  /// One value of the last converted image; 0 outside it.
  RAVO_EXPORT float GetImageVal(int x, int y) const;

  // ---- values; every output may be null ----

  /// The value of a slow channel, or of one record of a name-value block; 0 if the channel is neither.
  RAVO_EXPORT float GetSingle(int imb);
  /// Value, status and time (seconds) of a slow channel. 0, or 1 if the channel is not slow.
  RAVO_EXPORT int GetSlowPrm(float* dt, int* sts, long* tml);
  /// A name-value block with its records. 0; 1 if it is not such a block or holds fewer records than it
  /// says. In blocks from readers, comment and names end with a zero; in a block from elsewhere they may
  /// fill their 80 bytes, so limit what you print.
  RAVO_EXPORT int GetValNamPrm(ravo_name_value_block** blk, int* id, char** comment, int* ndata,
                               ravo_name_value_channel** data);
  /// Name (see above) and value of one record. 0, or 1.
  RAVO_EXPORT int GetValNamChan(char** name, float* dt, int imb);
  /// The values of one member of a spectrum, or null.
  RAVO_EXPORT float* GetSpect(int imb);
  /// Axis, mean, samples, groups and statistics of a member. 0; -1: no spectrum, -2: no data. Older events
  /// have one group and no statistics, and leave `*stats` unchanged.
  RAVO_EXPORT int GetSpectPar(float* start, float* inc, float** mean, int* ndata, int imb, int* groups,
                              float* groups_inc, ravo_spect_statistics_2010** stats);
  /// One value of a member, counted over all groups; 0 if there is no such value.
  RAVO_EXPORT float GetSpectVal(int imb, int i);
  /// A region-of-interest block and the axis of one profile: `ch` 0 along x, 1 along y. 0, -1 or -2.
  RAVO_EXPORT int GetRoiPar(void** blk, float* start, float* inc, float** mean, int* ndata, int ch);
  /// A value into `dt` or an array into `arr`, whichever the channel has; a name selects it first. 0; -1:
  /// nothing selected, -2: no data, 2: no such value in the block, 3: another kind of channel, or no
  /// channel of that name.
  RAVO_EXPORT int GetDataPtrs(const char* name, float* dt, float** arr, int subchan);
  /// Prints what the type of a current event's spectrum means. 0; 1: no spectrum, -1: an older event,
  /// -2: no data.
  RAVO_EXPORT int GetDescr();
  /// Prints the header of the selected channel's event.
  RAVO_EXPORT void PrintEvent();
  /// Selects a channel and prints its headers and all of its values.
  RAVO_EXPORT void PrintProp(int ich);

 protected:
  std::int32_t Status = 0;
  std::vector<ravo_channel_entry_long*>* Res = nullptr;
  bool data_2010 = true;
  std::int32_t Nchan = 0;
  std::int32_t NFast = 0;
  std::int32_t NSlow = 0;
  std::int32_t NImage = 0;
  std::int32_t Ichan = 0;
  std::int32_t Nptr = 1;
  std::int32_t Nmemb = 0;
  std::int32_t DataType = 0;
  std::int32_t PropType = 0;
  std::int32_t ChanType = 0;
  char* PropName = nullptr;
  ravo_eventheader* EventHeader = nullptr;
  ravo_serv_block_head* SrvbHeader = nullptr;
  ravo_serv_block_subhead* ChanHeader = nullptr;
  ravo_serv_block_head_2010* SrvbHeader_2010 = nullptr;
  ravo_serv_block_subhead_2010* ChanHeader_2010 = nullptr;
  char* Data = nullptr;
  float ImageXstart = 0;
  float ImageXinc = 0;
  std::int32_t ImageNx = 0;
  float ImageYstart = 0;
  float ImageYinc = 0;
  std::int32_t ImageNy = 0;
  float* ImageFloat = nullptr;

 private:
  enum class kind { fast, slow, image };

  bool can_select(const char* complaint) const;
  bool is(kind wanted) const;
  int select(int index);
  int select_next(kind wanted);
  int select_nth(kind wanted, int n, int count);
  void count_channel(const ravo_channel_entry_long* entry);
  void print_members(int ldata);
  void print_spectrum(int member);
  void print_frame();
  std::optional<int> header_type() const;
  void complain_of_type(const char* operation) const;
  bool keep_image(std::size_t elements);
  std::size_t data_length() const { return Data ? measured_data : 0; }

  template <class G>
  int set_head(const ravo_channel_entry_long& entry, typename G::server_block_head*& server,
               typename G::subhead*& channel);
  template <class G>
  void set_headers(const ravo_channel_entry_long& entry, typename G::server_block_head*& server,
                   typename G::subhead*& channel);
  template <class subhead>
  void classify(const ravo_channel_entry_long& entry, subhead& header);
  template <class subhead>
  char* find_data(subhead& header, char* entry_data) const;
  template <class subhead>
  std::size_t measure_data(const subhead& header) const;
  // Calls `visit` with the channel header of the event's generation.
  template <class visitor>
  auto with_header(visitor visit) const {
    return data_2010 ? visit(ChanHeader_2010) : visit(ChanHeader);
  }

  // For an entry whose event header contradicts the generation of its blocks: the beginnings of the blocks,
  // padded with zeros to the length of the headers that the event header asks for.
  ravo_serv_block_head_2010 belied_server{};
  ravo_serv_block_subhead_2010 belied_channel{};
  std::int32_t last_header_type = 0;  // of the last channel header of a current event
  std::size_t measured_data = 0;      // from Data to the end of its block, when it was selected
  std::size_t converted_values = 0;   // elements of ImageFloat
  std::vector<std::unique_ptr<float[]>> converted_images;  // all since Clean(); the last is ImageFloat
};

/// One wanted property. The caller owns it and its texts.
struct ravo_sprop {
  char* name;          ///< a label, only printed
  std::int32_t len;    ///< of the label, only printed
  char* prname;        ///< the channel's name in the raw files
  std::int32_t prlen;  ///< length of prname plus 2; properties of 2 or less are skipped
  std::int32_t nmemb;  ///< only printed
  std::int32_t dtype;  ///< only printed
};

/// Reads channels of older files, event by event: a list file names the files, properties name the
/// channels. It reads with a ravo_daq_reader; what ravo_daq/reader.h says about memory and threads applies
/// here too.
class ravo_daq_data {
 public:
  ravo_daq_data() = default;
  RAVO_EXPORT ~ravo_daq_data();
  ravo_daq_data(const ravo_daq_data&) = delete;
  ravo_daq_data& operator=(const ravo_daq_data&) = delete;

  /// Starts a reader. The list file names a file per line; lines that begin with "#", "%" or "*" and lines
  /// shorter than 5 characters are skipped. `period` is the step from event to event, by number (1: every
  /// event) or, for events without a number, by time: an all-zero step never leaves the first event.
  /// `start` and `stop` limit the events; all zero means no limit. 0, or negative with a line on standard
  /// error. `props` must live as long as this object.
  RAVO_EXPORT int Init(const char* files, std::vector<ravo_sprop*>* props, int debug, ravo_time_id* period,
                       ravo_time_id* start, ravo_time_id* stop);
  /// Reads the next event into GetRes(). 0; -1 before Init(), -2 at the end of the data. The data end
  /// early, with the same result, at a file of the list that was listed before, is older than the file
  /// before it, cannot be read, is of the other generation, or lacks the channels. The dataset layer
  /// (ravo_dataset.h) continues, and counts what it lost.
  RAVO_EXPORT int GetData();
  RAVO_EXPORT void Clean();

  // All print on standard output, and omit what is missing. A null text of a property makes the stream
  // fail, as inserting null does: call clear() on the stream to continue printing.
  /// The files of the list file.
  RAVO_EXPORT void PrintFiles() const;
  /// The properties as they were given to Init().
  RAVO_EXPORT void PrintProp() const;
  // The following print the event that GetData() read last, once Init() has started.
  /// The event, by its first channel.
  RAVO_EXPORT void PrintHeader() const;
  /// A line for every channel of an array type. The address is that of the member whose number is the
  /// channel's index in the result; 0 if there is no such member.
  RAVO_EXPORT void PrintFast() const;
  /// A line for every name-value block.
  RAVO_EXPORT void PrintNameVal() const;
  /// A line for every update of a slow channel.
  RAVO_EXPORT void PrintSlow() const;
  /// A line for every camera frame.
  RAVO_EXPORT void PrintImage() const;
  /// The header, then the channels by kind, in the order above.
  RAVO_EXPORT void PrintAll() const;

  int GetStatus() const { return Status; }
  int GetNfile() const { return Nfile; }
  int GetNprop() const { return Nprop; }
  char* GetFileName() const { return FileName; }
  std::vector<char*>* GetFiles() const { return Files; }
  std::vector<ravo_sprop*>* GetLprop() const { return Lprop; }
  int GetDebug() const { return Debug; }
  ravo_time_id* GetPeriod() const { return Period; }
  ravo_time_id* GetStart() const { return Start; }
  ravo_time_id* GetStop() const { return Stop; }
  std::vector<ravo_channel_entry_long*>* GetRes() const { return Res; }
  ravo_daq_reader* GetReader() const { return Reader; }
  /// Always null: this class makes only readers of the older generation.
  ravo_daq_reader_2010* GetReader_2010() const { return Reader_2010; }

 private:
  int add_files(const std::string& list_file);
  int add_properties();

  std::int32_t Status = 0;
  std::int32_t Nfile = 0;
  char* FileName = nullptr;
  std::vector<char*>* Files = nullptr;
  std::int32_t Nprop = 0;
  std::vector<ravo_sprop*>* Lprop = nullptr;
  std::int32_t Debug = 0;
  ravo_time_id* Period = nullptr;
  ravo_time_id* Start = nullptr;
  ravo_time_id* Stop = nullptr;
  ravo_daq_reader* Reader = nullptr;
  ravo_daq_reader_2010* Reader_2010 = nullptr;
  std::vector<ravo_channel_entry_long*>* Res = nullptr;
};

/// Lists the channels of one raw file of the older generation.
class ravo_daq_browser {
 public:
  ravo_daq_browser() = default;
  RAVO_EXPORT ~ravo_daq_browser();
  ravo_daq_browser(const ravo_daq_browser&) = delete;
  ravo_daq_browser& operator=(const ravo_daq_browser&) = delete;

  /// Takes the name of a file, but does not open it yet. 0; -1 for null, -2 for a name of fewer than 2
  /// characters, -3 without memory: nothing has then changed. A second Init() changes to another file and
  /// cleans nothing: the name and the reader of the first file, and what that reader handed out, stay valid
  /// until Clean().
  RAVO_EXPORT int Init(const char* name);
  /// Number of channels in the file; -1 before Init(), -2 if the file cannot be read.
  RAVO_EXPORT int GetNchan();
  /// The name of a channel that has events, with their number and the masks of event and data types; null
  /// for any other. Call GetNchan() first: it reads the file.
  RAVO_EXPORT char* GetChanName(int i, int* count, int* evmask, int* dtmask);
  /// Prints the channel dictionary.
  RAVO_EXPORT void ListChan();
  /// Prints one line for every channel that has events.
  RAVO_EXPORT void PrintChan();
  RAVO_EXPORT void Clean();

  int GetStatus() const { return Status; }
  char* GetFileName() const { return FileName; }
  ravo_daq_reader* GetReader() const { return Reader; }

 private:
  struct browsed_file {
    char* name;
    ravo_daq_reader* reader;
  };
  static void release(const browsed_file& file);

  std::int32_t Status = 0;
  char* FileName = nullptr;
  ravo_daq_reader* Reader = nullptr;
  std::vector<browsed_file> earlier;  // of all Init() but the last, until Clean()
};

/// Seconds since the epoch of a local date and time; months count from 1, and numbers out of range carry
/// over. Also printed on standard output.
RAVO_EXPORT long ravo_daq_time(int year, int month, int day, int hour, int min, int sec);

/// Asks the run catalogue of the facility for an experiment's files of a period, in seconds since the
/// epoch, and prints the result. 0. `dir` is only printed; `exps` must not be null (std::logic_error).
RAVO_EXPORT int GetFileList(char* dir, char* exps, long tstart, long tend);

#endif
