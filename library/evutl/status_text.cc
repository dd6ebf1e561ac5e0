// The texts of the statuses of the table and data operations, for messages.
#include "ravo_evutl_status.h"

namespace {

struct status_row {
  int status;
  const char* text;
};
constexpr status_row status_texts[] = {
    {RAVO_TABLE_OK, "success"},
    {RAVO_TABLE_NO_CHANNEL, "none of the listed channels is in the file"},
    {RAVO_TABLE_INVALID_ARGUMENT, "invalid argument"},
    {RAVO_TABLE_NO_MEMORY, "not enough memory"},
    {RAVO_TABLE_UNREADABLE, "the file ended early or could not be read"},
    {RAVO_TABLE_TOO_SHORT, "the file is too short to be a raw file"},
    {RAVO_TABLE_ABSENT, "the file has no such table"},
    {RAVO_TABLE_OUT_OF_FILE, "the table does not lie inside the file"},
    {RAVO_TABLE_WRONG_PATTERN, "the table's marker word is wrong"},
    {RAVO_TABLE_WRONG_LENGTH, "the table's length or a count in it is wrong"},
    {RAVO_TABLE_OVERLAP, "the table overlaps another part of the file"},
    {RAVO_TABLE_WRONG_ENTRY, "an entry of the table is inconsistent"},
    {RAVO_DATA_INVALID_ARGUMENT, "invalid argument for data conversion"},
    {RAVO_DATA_UNKNOWN_TYPE, "unknown data type"},
    {RAVO_DATA_WRONG_LENGTH, "the counts in the data disagree with their length"},
    {RAVO_DATA_WRONG_VALUE, "the data hold a value that their type does not allow"},
};

}  // namespace

const char* ravo_evutl_status_text(int status) {
  for (const status_row& row : status_texts)
    if (row.status == status) return row.text;
  return "unknown status";
}
