// The public part of the writer: it checks every call, keeps the event that is being passed, and decides
// when a file ends. file_builder collects and assembles a file.
#include "ravo_daq/raw_writer.h"

#include <climits>
#include <new>
#include <optional>
#include <set>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include "block_encoder.h"
#include "channel.h"
#include "descriptions.h"
#include "event_parts.h"
#include "file_builder.h"
#include "file_layout.h"
#include "file_name.h"
#include "folder.h"
#include "format/payload_view.h"
#include "format/time.h"
#include "outcome.h"
#include "record_set.h"

using namespace ravo::writer;

namespace {

// The last block of a file is padded too; its length word does not count the padding.
std::size_t longest_data(const record_set& records) {
  return largest_length - sizeof(ravo_channel_basket) - records.subhead - 3;
}

outcome invalid(std::string text) { return refusal(RAVO_DAQ_WRITER_INV_PARAM, std::move(text)); }
outcome not_allowed(std::string text) { return refusal(RAVO_DAQ_WRITER_NOT_ALLOWED, std::move(text)); }

outcome check_channel_name(const std::string& name, const record_set& records) {
  if (name.empty() || name.size() > records.longest_channel_name())
    return invalid("a channel name of " + std::to_string(name.size()) +
                   " bytes is not possible; use 1 to " + std::to_string(records.longest_channel_name()));
  if (name.find_first_of(std::string_view(":;\0", 3)) != name.npos)
    return invalid("the channel name " + name +
                   " contains ':', ';' or a zero byte, which requests use to end a name; leave them out");
  return {};
}

outcome check_data_type(RAVO_SUBBLOCK_TYPE dtype, const std::string& channel, const record_set& records) {
  const ravo::data_type* type = dtype < 0 || dtype > 0xffff ? nullptr : ravo::find_data_type(dtype);
  if (!type || type->members == 0 || !records.takes(*type))
    return invalid("the data type " + std::to_string(dtype) + " of channel " + channel +
                   " is not a channel type of this generation; take one from ravo_data_types.h");
  return {};
}

outcome check_channel_type(const ravo_daq_writer_channel& channel, const record_set& records) {
  if (outcome checked = check_data_type(channel.dtype, channel.name, records); checked.failed())
    return checked;
  if (channel.compression != ravo_compression::none && channel.compression != ravo_compression::zlib &&
      channel.compression != ravo_compression::lzo1x)
    return invalid("the compression of channel " + channel.name + " is not known; use none, zlib or lzo1x");
  if (channel.compression == ravo_compression::zlib && (channel.zlib_level < 1 || channel.zlib_level > 9))
    return invalid("the zlib level " + std::to_string(channel.zlib_level) + " of channel " + channel.name +
                   " is not possible; use 1 to 9");
  return {};
}

}  // namespace

struct ravo::raw_writer::state {
  explicit state(const record_set& of) : records(of), encoder(of) {}

  const record_set& records;
  ravo_daq_writer_settings settings;
  bool is_open = false;
  bool in_event = false;
  folder place;
  std::vector<channel> channels;
  std::unordered_set<std::string> names;
  std::set<std::uint32_t> keys;
  std::set<int> env_indices;
  descriptions described;
  std::optional<file_builder> builder;  ///< from the first event on
  block_encoder encoder;
  event_parts event;
  file_contents event_alone;             ///< of a file that holds only the current event
  std::vector<std::uint64_t> last_seen;  ///< number of the event in which a channel occurred last
  std::uint64_t event_count = 0;         ///< events begun in the run
  std::optional<time_stamp> last_time;   ///< of the last completed event
  std::int64_t next_file = 1;
  std::vector<std::string> files;
  std::string error_text;
  const char* error = "";

  int report(outcome result) noexcept {
    if (!result.failed()) return RAVO_DAQ_WRITER_OK;
    error_text = std::move(result.text);
    error = error_text.c_str();
    return result.status;
  }

  /// Runs a step and turns its failure into a status and a text. Nothing is thrown to the user.
  template <class step>
  int run(step&& what) noexcept {
    try {
      return report(what());
    } catch (const std::bad_alloc&) {
    } catch (const std::length_error&) {
    }
    error = "there is not enough memory for this; use a smaller buffer_bytes or smaller events";
    return RAVO_DAQ_WRITER_NO_MEMORY;
  }

  outcome open(const ravo_daq_writer_settings& wanted);
  outcome check_channel(const ravo_daq_writer_channel& wanted) const;
  outcome add_channel(const ravo_daq_writer_channel& channel);
  outcome add_description(const chan_descr_2010& description);
  outcome begin_event(const ravo_daq_writer_event& head);
  outcome begin_server_block(const ravo_daq_writer_server_block& head);
  outcome add_data(int index, std::optional<RAVO_SUBBLOCK_TYPE> dtype, const void* data, std::size_t length,
                   std::int32_t error_bits);
  outcome check_event_time(const time_stamp& time) const;
  outcome end_event();
  outcome close();

  outcome start_run();
  void number_channels();
  bool starts_new_file() const;
  outcome finish_file();
  void forget_run();
};

outcome ravo::raw_writer::state::open(const ravo_daq_writer_settings& wanted) {
  if (is_open) return not_allowed("a run is open already; close it before the next one");
  outcome checked = check_name_parts(wanted);
  if (checked.failed()) return checked;
  settings = wanted;
  checked = place.open(settings.folder);
  if (checked.failed()) return checked;
  files.clear();
  next_file = settings.first_file;
  is_open = true;
  error = "";
  return {};
}

/// Whether a channel can be written, and no other channel has its name or its numbers.
outcome ravo::raw_writer::state::check_channel(const ravo_daq_writer_channel& wanted) const {
  outcome checked = check_channel_name(wanted.name, records);
  if (!checked.failed()) checked = check_channel_type(wanted, records);
  if (!checked.failed() && wanted.description) checked = descriptions::check(*wanted.description);
  if (checked.failed()) return checked;
  if (names.contains(wanted.name))
    return invalid("there is a channel " + wanted.name + " already; give each its own name");
  if (wanted.key != 0 && keys.contains(wanted.key))
    return invalid("the key " + std::to_string(wanted.key) + " of channel " + wanted.name +
                   " is taken; give each its own, or 0 to have it numbered");
  if (wanted.env_index >= 0 && env_indices.contains(wanted.env_index))
    return invalid("the environment index " + std::to_string(wanted.env_index) + " of channel " +
                   wanted.name + " is taken; give each its own");
  if (wanted.env_index < -1)
    return invalid("the environment index " + std::to_string(wanted.env_index) + " of channel " +
                   wanted.name + " is negative; use 0 or more, or -1 for none");
  return {};
}

outcome ravo::raw_writer::state::add_channel(const ravo_daq_writer_channel& wanted) {
  if (!is_open) return not_allowed("no run is open; open one before adding channels");
  if (builder || in_event)
    return not_allowed("the run has events already; add all channels before the first one");
  if (outcome checked = check_channel(wanted); checked.failed()) return checked;

  const bool plain = ravo::is_reading(ravo::find_data_type(wanted.dtype)->shape);
  channel next{wanted.name,       wanted.dtype, plain ? ravo_compression::none : wanted.compression,
               wanted.zlib_level, wanted.key,   wanted.env_index};
  make_room(channels, 1);
  channels.push_back(std::move(next));
  // The sets may run out of memory half-way; the channel is then removed completely.
  try {
    names.insert(wanted.name);
    if (wanted.key != 0) keys.insert(wanted.key);
    if (wanted.env_index >= 0) env_indices.insert(wanted.env_index);
    if (wanted.description) described.add(*wanted.description, wanted.name);
  } catch (...) {
    names.erase(wanted.name);
    if (wanted.key != 0) keys.erase(wanted.key);
    if (wanted.env_index >= 0) env_indices.erase(wanted.env_index);
    channels.pop_back();
    throw;
  }
  return {};
}

outcome ravo::raw_writer::state::add_description(const chan_descr_2010& description) {
  if (!is_open) return not_allowed("no run is open; open one before adding descriptions");
  if (builder || in_event)
    return not_allowed("the run has events already; add all descriptions before the first one");
  outcome checked = descriptions::check(description);
  if (!checked.failed()) described.add(description, "");
  return checked;
}

// Channels without a key get, in their order, the smallest numbers that are free.
void ravo::raw_writer::state::number_channels() {
  std::uint32_t next = 1;
  for (channel& declared : channels) {
    if (declared.key != 0) continue;
    while (keys.contains(next)) ++next;
    declared.key = next++;
  }
}

// Fixes, at the first event, what is the same for all files of the run.
outcome ravo::raw_writer::state::start_run() {
  std::string text = described.text();
  if (!file_layout(empty_contents(channels, text.size()), records).fits())
    return refusal(RAVO_DAQ_WRITER_TOO_LARGE,
                   "the tables of so many channels and descriptions would not fit a file; spread the "
                   "channels over several streams");
  number_channels();
  last_seen.assign(channels.size(), 0);
  builder.emplace(records, place, channels, std::move(text), settings.buffer_bytes);
  return {};
}

outcome ravo::raw_writer::state::check_event_time(const time_stamp& time) const {
  if ((time.timeup != 0 || settings.allows_events_without_time) && time.timelow <= 999999) return {};
  return invalid("the event time " + std::to_string(time.timeup) + " s " + std::to_string(time.timelow) +
                 " us is not valid; give seconds above 0 and microseconds below 1000000");
}

outcome ravo::raw_writer::state::begin_event(const ravo_daq_writer_event& head) {
  if (!is_open) return not_allowed("no run is open; open one before the first event");
  if (in_event) return not_allowed("an event is open already; end it before the next one");
  if (head.event_type < 0 || head.event_type >= RAVO_EV_EVMAX)
    return invalid("there is no event type " + std::to_string(head.event_type) + "; use 0 to 31");
  if (head.event_number == RAVO_EVENT_NUMBER_UNDECODED)
    return invalid("the event number 4294967295 means \"not decoded\" to readers; use another one");
  if (outcome checked = check_event_time(head.time); checked.failed()) return checked;
  if (last_time && ravo::in_microseconds(head.time) < ravo::in_microseconds(*last_time))
    return invalid(
        "the event lies before the one that was given last; give events in the order of "
        "their times");
  if (!builder) {
    outcome started = start_run();
    if (started.failed()) return started;
  }
  event.clear();
  event.head = head;
  event_alone = builder->empty();
  event_alone.events = event_alone.event_types = 1;
  ++event_count;
  in_event = true;
  return {};
}

outcome ravo::raw_writer::state::begin_server_block(const ravo_daq_writer_server_block& head) {
  if (!in_event) return not_allowed("no event is open; begin one before its server blocks");
  if (head.server.size() > records.longest_server_name() || head.server.find('\0') != head.server.npos)
    return invalid("the server name is longer than " + std::to_string(records.longest_server_name()) +
                   " bytes or contains a zero byte; shorten it");
  file_contents after = event_alone;
  ++after.server_blocks;
  if (!file_layout(after, records).fits())
    return refusal(RAVO_DAQ_WRITER_TOO_LARGE,
                   "with this server block the event alone would cross the 4 GiB that an offset can "
                   "reach; give the event in parts");
  event.server_blocks.push_back({head, records.server_block_head, 0});
  event_alone = after;
  return {};
}

outcome ravo::raw_writer::state::add_data(int index, std::optional<RAVO_SUBBLOCK_TYPE> dtype,
                                          const void* data, std::size_t length, std::int32_t error_bits) {
  if (!in_event) return not_allowed("no event is open; begin one before its data");
  if (event.server_blocks.empty())
    return not_allowed("the event has no server block; begin one before its data");
  if (index < 0 || static_cast<std::size_t>(index) >= channels.size())
    return invalid("there is no channel " + std::to_string(index) +
                   "; use an index that add_channel returned");
  const auto number = static_cast<std::size_t>(index);
  const channel& of = channels[number];
  if (last_seen[number] == event_count)
    return not_allowed("channel " + of.name + " is in this event already; give its data once an event");
  if (dtype)
    if (outcome checked = check_data_type(*dtype, of.name, records); checked.failed()) return checked;
  if (!data) return invalid("no data are given for channel " + of.name + "; leave it out instead");
  if (error_bits & RAVO_CHAN_ZIP_FLAG)
    return invalid("the error word of channel " + of.name +
                   " carries RAVO_CHAN_ZIP_FLAG; leave it out, the writer sets it");
  if (length > longest_data(records))
    return refusal(RAVO_DAQ_WRITER_TOO_LARGE, "the data of channel " + of.name +
                                                  " are longer than a length word can hold; split them");

  make_room(event.blocks, 1);
  const std::size_t offset = event.block_bytes.size();
  std::uint32_t block = 0;
  const RAVO_SUBBLOCK_TYPE type = dtype.value_or(of.dtype);
  const ravo_compression compression =
      ravo::is_reading(ravo::find_data_type(type)->shape) ? ravo_compression::none : of.compression;
  outcome encoded = encoder.append(of, type, compression, {static_cast<const unsigned char*>(data), length},
                                   error_bits, event.block_bytes, &block);
  if (encoded.failed()) return encoded;
  file_contents after = event_alone;
  after.add_block(up_to_word(block), 0, 0);
  event_parts::server_block& holder = event.server_blocks.back();
  if (!file_layout(after, records).fits() || holder.bytes + block > largest_length) {
    event.block_bytes.resize(offset);
    return refusal(RAVO_DAQ_WRITER_TOO_LARGE,
                   "with channel " + of.name +
                       " the event alone would cross the 4 GiB that an offset can reach, or its server "
                       "block 2 GiB; spread the data over more events or server blocks");
  }
  event.block_bytes.resize(offset + static_cast<std::size_t>(up_to_word(block)), 0);
  event.blocks.push_back({number, event.server_blocks.size() - 1, offset, block, type});
  holder.bytes += block;
  ++holder.channels;
  last_seen[number] = event_count;
  event_alone = after;
  return {};
}

// Whether the event must go to the next file.
bool ravo::raw_writer::state::starts_new_file() const {
  if (builder->events() == 0) return false;
  if (settings.max_events != 0 && builder->events() >= settings.max_events) return true;
  if (settings.max_seconds != 0 && builder->first_time().timeup != 0 &&
      ravo::in_microseconds(event.head.time) - ravo::in_microseconds(builder->first_time()) >=
          std::int64_t{settings.max_seconds} * ravo::microseconds_per_second)
    return true;
  const file_layout layout(builder->with(event), records);
  return !layout.fits() || (settings.max_file_bytes != 0 && layout.total > settings.max_file_bytes);
}

outcome ravo::raw_writer::state::end_event() {
  if (!in_event) return not_allowed("no event is open; begin one before ending it");
  if (starts_new_file()) {
    outcome finished = finish_file();
    if (finished.failed()) return finished;
  }
  if (builder->events() == 0) {
    if (next_file > INT_MAX)
      return not_allowed("the file numbers of the run are used up; begin the next run");
    // Reported now, and not hours later when the file is complete.
    const std::string name = file_name(settings, static_cast<int>(next_file), event.head.time);
    if (place.holds(name))
      return refusal(RAVO_DAQ_WRITER_IO, "there is a file " + place.path_of(name) +
                                             " already; move it away and end the event again");
  }
  outcome added = builder->add(event);
  if (added.failed()) return added;
  last_time = event.head.time;
  event.clear();
  in_event = false;
  return {};
}

outcome ravo::raw_writer::state::finish_file() {
  const std::string name = file_name(settings, static_cast<int>(next_file), builder->first_time());
  std::string path = place.path_of(name);
  files.reserve(files.size() + 1);
  outcome written = builder->write(name);
  if (written.failed()) return written;
  files.push_back(std::move(path));
  ++next_file;
  builder->clear();
  return place.synchronise();
}

outcome ravo::raw_writer::state::close() {
  if (!is_open) return not_allowed("no run is open; there is nothing to close");
  if (in_event) return not_allowed("an event is open; end it before closing");
  if (builder && builder->events() != 0) {
    outcome finished = finish_file();
    if (finished.failed()) return finished;
  }
  forget_run();
  return {};
}

void ravo::raw_writer::state::forget_run() {
  builder.reset();
  channels.clear();
  names.clear();
  keys.clear();
  env_indices.clear();
  described.clear();
  last_seen.clear();
  event_count = 0;
  last_time.reset();
  place.close();
  is_open = false;
}

ravo::raw_writer::raw_writer(const writer::record_set& records)
    : state_(std::make_unique<state>(records)) {}
ravo::raw_writer::~raw_writer() = default;

int ravo::raw_writer::open(const ravo_daq_writer_settings& settings) {
  return state_->run([&] { return state_->open(settings); });
}

int ravo::raw_writer::add_channel(const ravo_daq_writer_channel& channel) {
  const int status = state_->run([&] { return state_->add_channel(channel); });
  return status == RAVO_DAQ_WRITER_OK ? static_cast<int>(state_->channels.size() - 1) : status;
}

int ravo::raw_writer::add_description(const chan_descr_2010& description) {
  return state_->run([&] { return state_->add_description(description); });
}

int ravo::raw_writer::begin_event(const ravo_daq_writer_event& event) {
  return state_->run([&] { return state_->begin_event(event); });
}

int ravo::raw_writer::begin_server_block(const ravo_daq_writer_server_block& block) {
  return state_->run([&] { return state_->begin_server_block(block); });
}

int ravo::raw_writer::add_data(int channel, const void* data, std::size_t length, std::int32_t error) {
  return state_->run([&] { return state_->add_data(channel, {}, data, length, error); });
}

int ravo::raw_writer::add_data_of_type(int channel, RAVO_SUBBLOCK_TYPE dtype, const void* data,
                                       std::size_t length, std::int32_t error) {
  return state_->run([&] { return state_->add_data(channel, dtype, data, length, error); });
}

int ravo::raw_writer::end_event() {
  return state_->run([&] { return state_->end_event(); });
}

int ravo::raw_writer::close() {
  return state_->run([&] { return state_->close(); });
}

const std::vector<std::string>& ravo::raw_writer::get_files() const { return state_->files; }
const char* ravo::raw_writer::get_last_error() const { return state_->error; }
