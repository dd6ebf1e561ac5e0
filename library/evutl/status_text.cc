// Names the statuses of the table and data operations for messages.
#include "ravo_evutl_status.h"

const char* ravo_evutl_status_text(int status) {
  switch (status) {
    case RAVO_TABLE_OK:
      return "success";
    case RAVO_TABLE_NO_CHANNEL:
      return "none of the listed channels is in the file";
    case RAVO_TABLE_INVALID_ARGUMENT:
      return "invalid argument";
    case RAVO_TABLE_NO_MEMORY:
      return "not enough memory";
    case RAVO_TABLE_UNREADABLE:
      return "the file ended early or could not be read";
    case RAVO_TABLE_TOO_SHORT:
      return "the file is too short to be a raw file";
    case RAVO_TABLE_ABSENT:
      return "the file has no such table";
    case RAVO_TABLE_OUT_OF_FILE:
      return "the table does not lie inside the file";
    case RAVO_TABLE_WRONG_PATTERN:
      return "the table's marker word is wrong";
    case RAVO_TABLE_WRONG_LENGTH:
      return "the table's length or a count in it is wrong";
    case RAVO_TABLE_OVERLAP:
      return "the table overlaps another part of the file";
    case RAVO_TABLE_WRONG_ENTRY:
      return "an entry of the table is inconsistent";
    case RAVO_DATA_INVALID_ARGUMENT:
      return "invalid argument for data conversion";
    case RAVO_DATA_UNKNOWN_TYPE:
      return "unknown data type";
    case RAVO_DATA_WRONG_LENGTH:
      return "the counts in the data disagree with their length";
    case RAVO_DATA_WRONG_VALUE:
      return "the data hold a value that their type does not allow";
    default:
      return "unknown status";
  }
}
