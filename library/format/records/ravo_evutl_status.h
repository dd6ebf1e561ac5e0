// What the statuses of this implementation's table and data operations mean. It is apart from
// ravo_evutl.h because only 0, non-zero and -5 are common to every table-access library; these values
// serve people and tests, and stay as they are.
#ifndef RAVO_EVUTL_STATUS_H
#define RAVO_EVUTL_STATUS_H

#include "ravo_export.h"

/// Results of the table operations.
enum ravo_table_status : int {
  RAVO_TABLE_OK = 0,
  RAVO_TABLE_NO_CHANNEL = -5,         ///< none of the listed channels is in the dictionary
  RAVO_TABLE_INVALID_ARGUMENT = 101,  ///< a null pointer or an impossible length
  RAVO_TABLE_NO_MEMORY = 102,
  RAVO_TABLE_UNREADABLE = 103,     ///< the file ended early or could not be read
  RAVO_TABLE_TOO_SHORT = 104,      ///< the file is too short to hold a reference table
  RAVO_TABLE_ABSENT = 105,         ///< the reference table has no offset for this table
  RAVO_TABLE_OUT_OF_FILE = 106,    ///< the table begins or ends after the file's tables
  RAVO_TABLE_WRONG_PATTERN = 107,  ///< not the table's marker word
  RAVO_TABLE_WRONG_LENGTH = 108,   ///< a length or count that no such table can have
  RAVO_TABLE_OVERLAP = 109,        ///< the table runs into something else that the file refers to
  RAVO_TABLE_WRONG_ENTRY = 110,    ///< an entry contradicts the table or its neighbours
};

/// Results of ravo_convert_data and ravo_store_data.
enum ravo_data_status : int {
  RAVO_DATA_OK = 0,
  RAVO_DATA_INVALID_ARGUMENT = 201,  ///< a null pointer or a negative length
  RAVO_DATA_UNKNOWN_TYPE = 202,      ///< no block has this type
  RAVO_DATA_WRONG_LENGTH = 203,      ///< the counts inside the data and their length disagree
  RAVO_DATA_WRONG_VALUE = 204,       ///< a value that such data cannot have
};

/// A short text for a status of either enumeration, for messages; never null.
RAVO_EXPORT const char* ravo_evutl_status_text(int status);

#endif
