#include "writing.h"

#include <cstring>

#include "ravo_daq_writer.h"
#include "ravo_xml.h"

namespace ravo::simulator {
namespace {

// Channel descriptions for as long as a file is being set up.
class descriptions {
 public:
  explicit descriptions(const std::vector<channel>& channels) {
    for (const channel& what : channels)
      list_.push_back(describe(what, static_cast<int>(list_.size()) + 1));
  }
  ~descriptions() { ravo_free_chan_descr(&list_); }
  descriptions(const descriptions&) = delete;
  descriptions& operator=(const descriptions&) = delete;
  const chan_descr_2010* operator[](std::size_t index) const { return list_[index]; }

 private:
  std::vector<chan_descr_2010*> list_;
};

void check(int status, const raw_writer& writer) {
  if (status < 0) throw simulation_failed(writer.get_last_error());
}

void declare(raw_writer& writer, const settings& what, const std::vector<channel>& channels) {
  const descriptions described(channels);
  for (std::size_t index = 0; index < channels.size(); ++index) {
    ravo_daq_writer_channel declared;
    declared.name = channels[index].name;
    declared.dtype = channels[index].dtype();
    declared.compression = channels[index].compression;
    declared.zlib_level = what.zlib_level;
    declared.key = static_cast<std::uint32_t>(index + 1);
    declared.env_index = channels[index].env_index;
    declared.description = described[index];
    check(writer.add_channel(declared), writer);
  }
}

void write(raw_writer& writer, const event& what) {
  check(writer.begin_event({what.number, what.type, what.time, 0, 0}), writer);
  for (const server_block& server : what.servers) {
    check(writer.begin_server_block({server.server, server.time, server.macro_pulse, 0, 0}), writer);
    for (const block& one : server.blocks)
      check(writer.add_data(one.channel, one.payload.data(), one.payload.size()), writer);
  }
  check(writer.end_event(), writer);
}

void notify(const observer& observe, const event& what, const std::vector<channel>& channels, int run,
            int file) {
  for (const server_block& server : what.servers)
    for (const block& one : server.blocks)
      observe({run, file, what.number, what.type, what.time, server.server, server.time,
               &channels[static_cast<std::size_t>(one.channel)], one.payload});
}

template <class Update>
delivered_block update_of(const answer& put_in, RAVO_SUBBLOCK_TYPE dtype) {
  ravo_env_data_block_2010 reading;
  std::memcpy(&reading, put_in.payload.data(), sizeof reading);
  Update update{};
  put_in.what->name.copy(update.upd_prop, sizeof update.upd_prop - 1);
  update.upd_ch_status = reading.env_ch_status;
  update.upd_ch_time = reading.env_ch_time;
  update.upd_ch_data = reading.env_ch_data;
  const auto* first = reinterpret_cast<const unsigned char*>(&update);
  return {dtype, {first, first + sizeof update}};
}

}  // namespace

delivered_block deliver(const answer& put_in) {
  const RAVO_SUBBLOCK_TYPE dtype = put_in.what->dtype();
  const bool is_older = put_in.what->generation == ravo_file_generation::older;
  const RAVO_SUBBLOCK_TYPE update = is_older ? RAVO_UPD_BLOCK : RAVO_UPD_BLOCK_2010;
  if (dtype == RAVO_ENV_BLOCK)
    return is_older ? update_of<ravo_upd_data_block>(put_in, update)
                    : update_of<ravo_upd_data_block_2010>(put_in, update);
  const RAVO_SUBBLOCK_TYPE current = put_in.what->current_dtype();
  const bool is_of_run = current == RAVO_BOR_BLOCK_2010 || current == RAVO_EOR_BLOCK_2010;
  return {is_of_run ? update : dtype, {put_in.payload.begin(), put_in.payload.end()}};
}

namespace {

template <class Writer>
simulation_result simulate_with(const settings& what, const std::vector<channel>& channels,
                                const observer& observe, const progress& report) {
  const event_stream stream(what, channels);
  simulation_result result;
  const auto total = static_cast<std::uint64_t>(what.runs) *
                     (static_cast<std::uint64_t>(what.files) * static_cast<std::uint64_t>(what.events) + 2);
  std::uint64_t done = 0;
  for (int run = 0; run < what.runs; ++run)
    for (int file = 0; file < what.files; ++file) {
      // One writer per file: where a file ends is part of the simulation, not a limit of the writer.
      Writer writer;
      ravo_daq_writer_settings target;
      target.folder = what.folder;
      target.experiment = what.experiment;
      target.stream = what.stream;
      target.run = what.first_run + run;
      target.first_file = file + 1;
      check(writer.open(target), writer);
      declare(writer, what, channels);
      for (std::uint32_t pulse = stream.first_pulse(run, file); pulse < stream.end_pulse(run, file);
           ++pulse) {
        for (const event& made : stream.events_of(run, file, pulse)) {
          write(writer, made);
          ++result.events;
          for (const server_block& server : made.servers) result.blocks += server.blocks.size();
          if (observe) notify(observe, made, channels, target.run, target.first_file);
        }
        if (report && !report(++done, total)) return result;
      }
      check(writer.close(), writer);
      const auto& files = writer.get_files();
      result.files.insert(result.files.end(), files.begin(), files.end());
    }
  return result;
}

}  // namespace

simulation_result simulate(const settings& what, const observer& observe, const progress& report) {
  std::vector<channel> channels = make_channels(what.counts, what.compression);
  for (channel& one : channels) {
    one.generation = what.generation;
    if (one.name == what.absent_channel) one.when = presence::never;
  }
  return what.generation == ravo_file_generation::older
             ? simulate_with<ravo_daq_writer>(what, channels, observe, report)
             : simulate_with<ravo_daq_writer_2010>(what, channels, observe, report);
}

}  // namespace ravo::simulator
