// A reader of the current generation that has its files and channels and is started.
#ifndef RAVO_BENCH_STARTED_READER_H
#define RAVO_BENCH_STARTED_READER_H

#include <memory>
#include <string>
#include <vector>

#include "ravo_daq_reader_2010.h"

namespace ravo::bench {

/// Throws with the reader's message if it cannot be started.
std::unique_ptr<ravo_daq_reader_2010> start_reader(const std::vector<std::string>& files,
                                                   const std::vector<std::string>& channels);

}  // namespace ravo::bench

#endif
