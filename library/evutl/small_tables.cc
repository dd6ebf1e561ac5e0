// Reads the environment index dictionary and the XML channel description header: a head with its
// length, followed by plain words or plain text. Both are the same in both generations.
#include "file_tables.h"
#include "ravo_evutl.h"

int ravo_get_env_index_dictionary_table_m_2010(long len, const ravo_file_reference_table_2010* reference,
                                               int fd, ravo_env_dictionary_table_2010** table) {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  const ravo::table_file file(fd, len);
  ravo::table_head head;
  if (const auto status =
          ravo::read_table_head(file, *reference, reference->eidt_ref, RAVO_ENV_DICTIONARY_PATTERN,
                                sizeof(ravo_env_dictionary_table_2010), head);
      status != RAVO_TABLE_OK)
    return status;
  const std::size_t length = static_cast<std::size_t>(head.length);
  if ((length - sizeof(ravo_env_dictionary_table_2010)) % sizeof(ravo_env_dictionary_entry_2010) != 0)
    return RAVO_TABLE_WRONG_LENGTH;

  auto read = ravo::allocate<ravo_env_dictionary_table_2010>(length);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read_words(reference->eidt_ref, read.get(), length / 4);
      status != RAVO_TABLE_OK)
    return status;
  read->pattern = head.pattern;
  read->length = head.length;
  *table = read.release();
  return RAVO_TABLE_OK;
}

int ravo_get_chan_descr_table_m_2010(long len, const ravo_file_reference_table_2010* reference, int fd,
                                     ravo_xml_chan_descr_header_2010** table) {
  if (table) *table = nullptr;
  if (!ravo::usable(len, reference, table)) return RAVO_TABLE_INVALID_ARGUMENT;
  const ravo::table_file file(fd, len);
  ravo::table_head head;
  if (const auto status =
          ravo::read_table_head(file, *reference, reference->xcd_ref, RAVO_XML_CHAN_DESCR_PATTERN,
                                sizeof(ravo_xml_chan_descr_header_2010), head);
      status != RAVO_TABLE_OK)
    return status;
  const std::size_t length = static_cast<std::size_t>(head.length);

  // One zero byte more than the file has, so that callers can also use the text without its length.
  auto read = ravo::allocate<ravo_xml_chan_descr_header_2010>(length + 1);
  if (!read) return RAVO_TABLE_NO_MEMORY;
  if (const auto status = file.read(reference->xcd_ref, read.get(), length); status != RAVO_TABLE_OK)
    return status;
  read->pattern = head.pattern;
  read->length = head.length;
  read->xml()[length - sizeof *read] = '\0';
  *table = read.release();
  return RAVO_TABLE_OK;
}

int ravo_get_env_index_dictionary_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                          ravo_env_dictionary_table** table) {
  return ravo_get_env_index_dictionary_table_m_2010(len, reference, fd, table);
}

int ravo_get_chan_descr_table_m(long len, const ravo_file_reference_table* reference, int fd,
                                ravo_xml_chan_descr_header** table) {
  return ravo_get_chan_descr_table_m_2010(len, reference, fd, table);
}
