// Assembles a raw file from what the builder has collected: the baskets from the spool, then the
// tables, in the order given in file_layout.h.
#include "file_builder.h"
#include "streams.h"

namespace ravo::writer {

namespace {

void put_basket_head(byte_vector& out, std::uint32_t pattern, std::uint64_t length) {
  put_word(out, pattern);
  put_size(out, length);
}

}  // namespace

outcome file_builder::write(const std::string& name) {
  target_file target(folder_, name);
  outcome done = target.create();
  if (!done.failed()) done = assemble(target);
  if (!done.failed()) done = target.publish();
  return done;
}

outcome file_builder::assemble(target_file& target) {
  outcome done = append_baskets(target);
  if (!done.failed()) done = append_dictionary(target);
  if (!done.failed()) done = append_event_index(target);
  if (!done.failed()) done = append_pointer_table(target);
  if (!done.failed()) done = append_environment_dictionary(target);
  if (!done.failed()) done = append_descriptions(target);
  if (!done.failed()) done = append_reference_table(target);
  // The layout was checked against the limits; a file that differs from it must not be published.
  if (!done.failed() && target.size() != layout().total)
    return refusal(RAVO_DAQ_WRITER_IO, "the file came out with " + std::to_string(target.size()) +
                                           " bytes instead of " + std::to_string(layout().total) +
                                           "; report this as a defect of the writer");
  return done;
}

outcome file_builder::append_baskets(target_file& target) {
  const file_layout lengths = layout();
  spool_.arrange();
  byte_vector head(records_.signature.begin(), records_.signature.end());
  event_headers_ = head.size();
  put_basket_head(head, RAVO_EVENT_HEADER_BASKET_PATTERN, lengths.event_headers_length);
  outcome done = target.append(head);
  if (!done.failed()) done = spool_.copy(stream_of_event_headers, target);
  if (done.failed()) return done;

  server_blocks_ = target.size();
  head.clear();
  put_basket_head(head, RAVO_SERVER_BLOCK_BASKET_PATTERN, lengths.server_blocks_length);
  done = target.append(head);
  if (!done.failed()) done = spool_.copy(stream_of_server_blocks, target);

  for (std::size_t i = 0; i < channels_.size() && !done.failed(); ++i) {
    baskets_[i] = target.size();
    const std::uint64_t bytes = spool_.size(stream_of_channel(i));
    if (bytes == 0) continue;
    head.clear();
    put_basket_head(head, RAVO_CHANNEL_BASKET_PATTERN, sizeof(ravo_channel_basket) + bytes);
    done = target.append(head);
    if (!done.failed()) done = spool_.copy(stream_of_channel(i), target);
  }
  return done;
}

outcome file_builder::append_dictionary(target_file& target) const {
  byte_vector out;
  put_word(out, RAVO_CHAN_DICTIONARY_PATTERN);
  put_size(out, layout().channel_dictionary_length);
  for (std::size_t i = 0; i < channels_.size(); ++i) {
    put_word(out, channels_[i].key);
    put_text(out, channels_[i].name, records_.dictionary_name);
    put_word(out, rows_[i].event_types);
    // For a channel without blocks, the type that its blocks would have.
    put_word(out, rows_[i].entries.empty() ? type_bit(channels_[i].dtype) : rows_[i].data_types);
    put_size(out, rows_[i].entries.size());
  }
  return target.append(out);
}

outcome file_builder::append_event_index(target_file& target) {
  byte_vector out;
  put_word(out, RAVO_EVENT_INDEX_PATTERN);
  put_size(out, contents_.event_types);
  outcome done = target.append(out);
  for (std::size_t type = 0; type < index_.size() && !done.failed(); ++type) {
    const std::vector<index_entry>& list = index_[type];
    index_offsets_[type] = list.empty() ? 0 : target.size();
    if (list.empty()) continue;
    out.clear();
    put_size(out, type);
    put_time(out, list.front().time);
    put_time(out, list.back().time);
    put_word(out, list.front().event_number);
    put_word(out, list.back().event_number);
    put_size(out, list.size());
    for (const index_entry& entry : list) {
      put_time(out, entry.time);
      put_word(out, entry.event_number);
      put_size(out, event_headers_ + sizeof(ravo_event_header_basket) +
                        std::uint64_t{entry.event} * sizeof(ravo_eventheader));
    }
    done = target.append(out);
  }
  return done;
}

outcome file_builder::append_pointer_table(target_file& target) const {
  byte_vector out;
  put_word(out, RAVO_EVENT_CHAN_POINTERS_PATTERN);
  put_size(out, layout().pointer_table_length);
  put_size(out, contents_.longest_row);
  outcome done = target.append(out);
  for (std::size_t i = 0; i < rows_.size() && !done.failed(); ++i) {
    out.clear();
    for (const row_entry& entry : rows_[i].entries) {
      const std::uint64_t subheader = baskets_[i] + sizeof(ravo_channel_basket) + entry.position;
      put_size(out, event_headers_ + sizeof(ravo_event_header_basket) +
                        std::uint64_t{entry.event} * sizeof(ravo_eventheader));
      put_size(out, server_blocks_ + sizeof(ravo_server_block_basket) +
                        std::uint64_t{entry.server_block} * records_.server_block_head);
      put_size(out, subheader);
      put_size(out, subheader + records_.subhead);
    }
    done = target.append(out);
    target.append_zeros((contents_.longest_row - rows_[i].entries.size()) *
                        sizeof(ravo_event_chan_ptr_entry));
  }
  return done;
}

outcome file_builder::append_environment_dictionary(target_file& target) const {
  byte_vector out;
  put_word(out, RAVO_ENV_DICTIONARY_PATTERN);
  put_size(out, layout().environment_dictionary_length);
  for (const channel& entry : channels_) {
    if (entry.env_index < 0) continue;
    put_word(out, entry.key);
    put_int(out, entry.env_index);
  }
  return target.append(out);
}

outcome file_builder::append_descriptions(target_file& target) const {
  byte_vector out;
  put_word(out, RAVO_XML_CHAN_DESCR_PATTERN);
  put_size(out, layout().descriptions_length);
  out.insert(out.end(), descriptions_.begin(), descriptions_.end());
  out.resize(static_cast<std::size_t>(up_to_word(out.size())), 0);
  return target.append(out);
}

outcome file_builder::append_reference_table(target_file& target) const {
  const file_layout offsets = layout();
  byte_vector out;
  put_word(out, records_.reference_table_pattern);
  put_size(out, sizeof(ravo_file_reference_table));
  put_size(out, offsets.event_index);
  for (std::uint64_t offset : index_offsets_) put_size(out, offset);
  put_size(out, offsets.channel_dictionary);
  put_size(out, offsets.pointer_table);
  put_size(out, offsets.environment_dictionary);
  put_size(out, offsets.descriptions);
  put_size(out, event_headers_);
  put_size(out, server_blocks_);
  put_size(out, contents_.baskets == 0 ? 0 : offsets.channel_baskets);
  put_size(out, offsets.reference_table);
  return target.append(out);
}

}  // namespace ravo::writer
