// One channel of a dataset as a column: a row for each value, with its event, its time and its status.
#ifndef RAVO_TOOL_COLUMN_PRINTING_H
#define RAVO_TOOL_COLUMN_PRINTING_H

#include <string>

#include "dataset_session.h"

namespace ravo::tool {

/// Reads the column and prints it in the form of the session.
void print_column(dataset_session& session, const dataset& data, const std::string& channel,
                  column_rows rows);

}  // namespace ravo::tool

#endif
