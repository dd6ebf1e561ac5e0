// Simulated raw files in a temporary folder, with the answer key of every block that is in them.
#ifndef RAVO_TEST_SIMULATED_FILES_H
#define RAVO_TEST_SIMULATED_FILES_H

#include <map>
#include <string>
#include <vector>

#include "generations.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "temporary_folder.h"
#include "writing.h"

namespace ravo::test {

/// One block that is in the files, as it has to be delivered.
struct known_block {
  ravo_time_id id;
  std::string server;
  RAVO_SUBBLOCK_TYPE dtype;         ///< as it is delivered
  RAVO_SUBBLOCK_TYPE stored_dtype;  ///< as it is in the file
  ravo_compression compression;
  std::string file;  ///< path of the file
  std::vector<unsigned char> payload;
};

class simulated_files {
 public:
  explicit simulated_files(simulator::settings what);

  const std::vector<std::string>& files() const { return files_; }
  /// All channels, in the dictionary's order.
  const std::vector<std::string>& channels() const { return channels_; }
  /// The blocks of a channel in the order of the files; empty for one without data.
  const std::vector<known_block>& blocks(const std::string& channel) const;

 private:
  temporary_folder folder_;
  std::vector<std::string> files_;
  std::vector<std::string> channels_;
  std::map<std::string, std::vector<known_block>> blocks_;
};

/// Every kind of channel and every compressor, two runs of two files, few events: made once for all tests.
const simulated_files& two_runs(ravo_file_generation generation);
template <class generation>
const simulated_files& two_runs() {
  return two_runs(either<generation>(ravo_file_generation::current, ravo_file_generation::older));
}

}  // namespace ravo::test

#endif
