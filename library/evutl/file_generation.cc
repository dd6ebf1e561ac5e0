// Recognises the generation of a raw file by its reference table's marker.
#include "ravo_file_generation.h"

#include "file_tables.h"
#include "format/raw_file.h"

int ravo_get_file_generation(const char* path, ravo_file_generation* generation) {
  if (!path || !generation) return RAVO_TABLE_INVALID_ARGUMENT;
  const ravo::raw_file opened(path);
  if (!opened.is_open()) return RAVO_TABLE_UNREADABLE;
  const ravo::table_file file(opened.descriptor(), static_cast<long>(opened.length()));
  std::uint32_t offset = 0;
  if (const auto status = file.read_tail(offset); status != RAVO_TABLE_OK) return status;
  if (offset == 0) return RAVO_TABLE_ABSENT;
  if (!file.holds(offset, sizeof(ravo_file_reference_table))) return RAVO_TABLE_OUT_OF_FILE;
  std::uint32_t pattern = 0;
  if (const auto status = file.read_words(offset, &pattern, 1); status != RAVO_TABLE_OK) return status;
  switch (pattern) {
    case RAVO_REFERENCE_TABLE_PATTERN_2010:
      *generation = ravo_file_generation::current;
      return RAVO_TABLE_OK;
    case RAVO_REFERENCE_TABLE_PATTERN:
      *generation = ravo_file_generation::older;
      return RAVO_TABLE_OK;
    default:
      return RAVO_TABLE_WRONG_PATTERN;
  }
}
