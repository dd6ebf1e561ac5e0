// One channel of a dataset as a column: a row for each value, with its event, its time and its status.
#ifndef RAVO_TOOL_COLUMN_PRINTING_H
#define RAVO_TOOL_COLUMN_PRINTING_H

#include <string>

#include "common/dataset_session.h"

namespace ravo::tool {

/// How a row is printed.
enum class row_contents {
  summary,  ///< count, mean, least and greatest of the numbers
  numbers,  ///< all numbers
};

struct column_request {
  std::string channel;
  column_rows rows = column_rows::recorded;
  row_contents contents = row_contents::summary;
};

/// Reads the column and prints it in the form of the session.
/// The session's ledger then counts the rows that were printed.
void print_column(dataset_session& session, const dataset& data, const column_request& asked);

}  // namespace ravo::tool

#endif
