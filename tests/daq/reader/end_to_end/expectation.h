// What a reading is to deliver, worked out from the answer key in the plainest way: all blocks of the
// channels are laid out by event, and slow channels stay from where they were first seen.
#ifndef RAVO_TEST_EXPECTATION_H
#define RAVO_TEST_EXPECTATION_H

#include <string>
#include <vector>

#include "ravo_daq_reader_2010.h"
#include "simulated_files.h"

namespace ravo::test {

/// One event: of each channel, in order, the block that is delivered, or null.
using expected_event = std::vector<const known_block*>;

std::vector<expected_event> expected_events(const simulated_files& files,
                                            const std::vector<std::string>& channels);

/// Fails the test unless the entry is the block: identifier, server, type, length and every byte.
void expect_block(const known_block& expected, const std::string& name,
                  const ravo_channel_entry_long& entry);

/// A reader of the channels over all files, not started.
void set_up(ravo_daq_reader_2010& reader, const std::vector<std::string>& files,
            const std::vector<std::string>& channels, int mode);

}  // namespace ravo::test

#endif
