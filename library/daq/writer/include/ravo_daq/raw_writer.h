// Writes raw files of either generation: declare the channels, then pass event after event; the writer
// makes closed files and starts the next by size, events or time. A file appears under its final name only
// when it is complete and on disk. Memory stays bounded: baskets are spooled to a nameless file in
// the target folder, and assembled when the file is closed. A program uses ravo_daq_writer_2010 or
// ravo_daq_writer, one for each generation; both are used in the same way.
#ifndef RAVO_DAQ_RAW_WRITER_H
#define RAVO_DAQ_RAW_WRITER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ravo_export.h"
#include "ravo_raw_format.h"

/// Statuses of the writer.
enum ravo_daq_writer_status : int {
  RAVO_DAQ_WRITER_OK = 0,
  RAVO_DAQ_WRITER_INV_PARAM = -1,    ///< an argument that no file could hold
  RAVO_DAQ_WRITER_NOT_ALLOWED = -2,  ///< a call out of order
  RAVO_DAQ_WRITER_IO = -3,         ///< the system refused to write; nothing incomplete is left visible, and
                                   ///< the call may be repeated when the cause is gone
  RAVO_DAQ_WRITER_TOO_LARGE = -4,  ///< one event alone would exceed the 4 GiB that an offset can reach
  RAVO_DAQ_WRITER_NO_MEMORY = -5,
};

/// How the blocks of a channel are stored.
enum class ravo_compression { none, zlib, lzo1x };

/// Where files go and when one ends. A limit of 0 means no limit other than 4 GiB. Files are named
/// <experiment>_<stream>_run<N>_file<M>_<YYYYMMDDThhmmssZ>.raw, with the UTC time of the first event.
struct ravo_daq_writer_settings {
  std::string folder;
  std::string experiment = "linac";
  std::string stream = "main";
  int run = 1;
  int first_file = 1;                ///< number of the first file; later files count up
  std::uint64_t max_file_bytes = 0;  ///< a file ends before it exceeds this, but holds at least one event
  std::uint32_t max_events = 0;      ///< events in one file, all event types counted
  std::uint32_t max_seconds = 0;     ///< span of event time in one file
  std::size_t buffer_bytes = 64u << 20;  ///< memory for blocks before they are spooled
  /// Accept events without a time (seconds of 0), which files from other writers may have. They come before
  /// all others.
  bool allows_events_without_time = false;
};

/// One channel of the file. Update, environment, begin- and end-of-run blocks are always stored plain.
struct ravo_daq_writer_channel {
  /// 1 to 255 bytes, in the older generation 1 to 31, without ':' and ';'. Readers cut a subchannel out of
  /// an older channel only if "NAME:subchannel" has at most 31 bytes too.
  std::string name;
  /// A type of the writer's generation or of both.
  RAVO_SUBBLOCK_TYPE dtype = RAVO_BLOCK_1CHAN_2010;
  ravo_compression compression = ravo_compression::zlib;
  int zlib_level = 6;                            ///< 1 to 9
  std::uint32_t key = 0;                         ///< 0: the writer numbers the channel
  int env_index = -1;                            ///< 0 or more: an entry in the environment dictionary
  const chan_descr_2010* description = nullptr;  ///< copied; null: the channel has none
};

/// The head of an event.
struct ravo_daq_writer_event {
  std::uint32_t event_number = 0;
  RAVO_EVTYPE event_type = RAVO_EV_NORMAL;
  time_stamp time{};
  std::int32_t tmask = 0;
  std::int32_t status = 0;
};

/// The head of a server block.
struct ravo_daq_writer_server_block {
  std::string server;  ///< at most 255 bytes, in the older generation 47
  time_stamp time{};
  std::int32_t mpulse = 0;
  std::int32_t tmask = 0;
  std::int32_t status = 0;
};

namespace ravo {

namespace writer {
struct record_set;
}

/// A writer of one run of one stream, for one thread at a time. Every operation returns a
/// ravo_daq_writer_status (add_channel: an index); get_last_error says what went wrong and what to do.
class raw_writer {
 public:
  raw_writer(const raw_writer&) = delete;
  raw_writer& operator=(const raw_writer&) = delete;

  /// Starts a run. The folder must exist. After close() the next run may be opened.
  RAVO_EXPORT int open(const ravo_daq_writer_settings& settings);
  /// Declares a channel, before the first event; 0 or more: its index. Every declared channel is in
  /// the dictionary of every file, even if it has no events.
  RAVO_EXPORT int add_channel(const ravo_daq_writer_channel& channel);
  /// Adds a separate description, before the first event: for a channel that the file does not have, or to
  /// keep descriptions in another order than the channels. It is copied.
  RAVO_EXPORT int add_description(const chan_descr_2010& description);

  /// Begins an event; end_event() completes it. Events must come in the order of their times (equal times
  /// are allowed), because readers search by that order. Seconds of 0 mean "no time" and are refused unless
  /// the settings allow them.
  RAVO_EXPORT int begin_event(const ravo_daq_writer_event& event);
  /// Begins a server block of the event; channel data belong to the block begun last.
  RAVO_EXPORT int begin_server_block(const ravo_daq_writer_server_block& block);
  /// One channel's data of the event: `length` bytes in host order, laid out as the channel's data
  /// type says (ravo_payload.h). A channel occurs at most once in an event. `error`: RAVO_SBLOCK_ERROR
  /// bits for the subheader.
  RAVO_EXPORT int add_data(int channel, const void* data, std::size_t length, std::int32_t error = 0);
  /// The same for a block whose data type differs from that declared for the channel; the dictionary then
  /// names all types of the channel's blocks.
  RAVO_EXPORT int add_data_of_type(int channel, RAVO_SUBBLOCK_TYPE dtype, const void* data,
                                   std::size_t length, std::int32_t error = 0);
  /// Completes the event. A file that is full is closed before the event that would not fit. After
  /// RAVO_DAQ_WRITER_IO the event is still open, with all its data.
  RAVO_EXPORT int end_event();

  /// Completes the file that is open and ends the run.
  RAVO_EXPORT int close();

  /// Paths of the files completed so far, in order.
  RAVO_EXPORT const std::vector<std::string>& get_files() const;
  /// What went wrong in the last failed operation, in one sentence; empty if nothing failed.
  RAVO_EXPORT const char* get_last_error() const;

 protected:
  /// `records` are those of the generation that is written.
  RAVO_EXPORT explicit raw_writer(const writer::record_set& records);
  /// Abandons an open file: without close() none of it becomes visible.
  RAVO_EXPORT ~raw_writer();

 private:
  struct state;
  std::unique_ptr<state> state_;
};

}  // namespace ravo

#endif
