// Shared by the tests of `ravo convert`: an older file with every kind of content, and
// an independent reading of what a conversion has to keep, from the bytes of both files.
#ifndef RAVO_TEST_CONVERSION_H
#define RAVO_TEST_CONVERSION_H

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "../../daq/writer/raw_file.h"
#include "bytes.h"
#include "raw_layouts.h"
#include "temporary_folder.h"

namespace ravo::test {

using older_raw_file = raw_file_of<layout_2009>;
using current_raw_file = raw_file_of<layout_2010>;

/// An older file with channels of every kind, two server blocks and one without channels, an event without
/// server blocks, events of equal time and one without number, and a value other than 0 in every field.
std::string write_odd_file(const temporary_folder& folder);

/// The data of a block in the current generation, in file order, from the data in the older one.
std::vector<unsigned char> expected_data(std::uint32_t older_type, const std::vector<unsigned char>& older);

/// Expects that both files have the same channels, keys, events, headers,
/// server blocks and data, byte by byte; the caller checks the types.
void expect_same_contents(const older_raw_file& older, const current_raw_file& current);

/// The text of the descriptions without the data types.
std::string without_types(std::string xml);

}  // namespace ravo::test

#endif
