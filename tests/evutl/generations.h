// The two generations as parameters of typed tests: the layout in numbers, and the records and operations
// of the library that serve it.
#ifndef RAVO_TEST_GENERATIONS_H
#define RAVO_TEST_GENERATIONS_H

#include <gtest/gtest.h>

#include "generation_name.h"
#include "raw_layouts.h"
#include "table_operations.h"

namespace ravo::test {

struct current : layout_2010, table_operations_2010 {};
struct older : layout_2009, table_operations_2009 {};

using generations = testing::Types<current, older>;

}  // namespace ravo::test

#endif
