#include "read/block_scan.h"

namespace ravo::detail {

block_source_file source_of(dataset_state& state, const segment& part, std::size_t channel,
                            std::uint32_t file, std::shared_ptr<const open_file>& opened) {
  opened = state.opened.get(file);
  const known_file& known = state.timeline.file(file).tables;
  return {opened.get(),
          state.channels[channel].name.c_str(),
          &known,
          known.places[channel].dtype_mask,
          part.basket_end(channel, file),
          &state.names_in_dictionaries,
          state.options.largest_block};
}

unsigned char* block_memory::fit(pooled_buffer& buffer, std::size_t size) {
  try {
    memory_.fit(buffer, size, what_, on_full::refuse);
  } catch (const memory_refused&) {
    if (how_ == on_full::refuse) throw;
    inflated_.release();
    decoded_.release();
    memory_.fit(buffer, size, what_, on_full::wait);
  }
  return buffer.data();
}

block_window block_scan::window_at(const std::vector<entry>& blocks, std::size_t first) const {
  return next_window(blocks, first, window_bytes(state_.memory), state_.options.largest_block);
}

void block_scan::read(const segment& part, const std::vector<entry>& blocks, std::size_t first,
                      const block_window& window, const visitor& visit) {
  std::shared_ptr<const open_file> opened;
  const block_source_file source = source_of(state_, part, channel_, blocks[first].file, opened);
  memory_.fit_window(window.bytes);
  read_window(
      source, blocks, first, window, memory_.buffers(), [&](std::size_t size) { memory_.fit_block(size); },
      [&](std::size_t index, const found_block& found) { visit(index, source, found); });
}

void block_scan::read_all(const segment& part, const std::vector<entry>& blocks, const visitor& visit) {
  for (std::size_t first = 0; first < blocks.size();) {
    const block_window window = window_at(blocks, first);
    read(part, blocks, first, window, visit);
    first += window.blocks;
  }
}

std::optional<byte_view> inflate(const found_block& found, block_memory& memory, value_status& status) {
  status = found.status;
  if (status != value_status::ok) return std::nullopt;
  if (found.payload.form != stored_form::compressed)
    return byte_view(found.payload.bytes, found.payload.size, word_order::file);
  unsigned char* const into = memory.fit_inflated(found.payload.room);
  status = inflate(found, into);
  if (status != value_status::ok) return std::nullopt;
  return byte_view(into, found.payload.room, word_order::file);
}

}  // namespace ravo::detail
