#include "simulated_files.h"

namespace ravo::test {

simulated_files::simulated_files(simulator::settings what) {
  what.folder = folder_.path().string();
  for (const simulator::channel& one : simulator::make_channels(what.counts, what.compression))
    channels_.push_back(one.name);
  // Which file a block is in is known when all files have their names.
  std::map<std::string, std::vector<std::size_t>> file_of_block;
  std::size_t file = 0;
  int run = what.first_run, number = 1;
  files_ =
      simulator::simulate(what,
                          [&](const simulator::answer& put_in) {
                            if (put_in.run != run || put_in.file != number) ++file;
                            run = put_in.run;
                            number = put_in.file;
                            simulator::delivered_block block = simulator::deliver(put_in);
                            blocks_[put_in.what->name].push_back({{put_in.event_number, put_in.event_time},
                                                                  put_in.server,
                                                                  block.dtype,
                                                                  put_in.what->dtype(),
                                                                  put_in.what->compression,
                                                                  "",
                                                                  std::move(block.payload)});
                            file_of_block[put_in.what->name].push_back(file);
                          },
                          {})
          .files;
  for (auto& [channel, blocks] : blocks_)
    for (std::size_t i = 0; i < blocks.size(); ++i) blocks[i].file = files_.at(file_of_block[channel][i]);
}

const std::vector<known_block>& simulated_files::blocks(const std::string& channel) const {
  static const std::vector<known_block> none;
  const auto found = blocks_.find(channel);
  return found == blocks_.end() ? none : found->second;
}

const simulated_files& two_runs(ravo_file_generation generation) {
  const auto settings = [](ravo_file_generation which) {
    simulator::settings what;
    what.seed = 7;
    what.runs = 2;
    what.files = 2;
    what.events = 60;
    // Three of a kind: one plain, one zlib, one LZO.
    what.counts = {3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3};
    what.generation = which;
    return what;
  };
  if (generation == ravo_file_generation::older) {
    static const simulated_files older(settings(ravo_file_generation::older));
    return older;
  }
  static const simulated_files current(settings(ravo_file_generation::current));
  return current;
}

}  // namespace ravo::test
