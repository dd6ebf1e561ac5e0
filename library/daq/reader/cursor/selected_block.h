// How the entries of a result are read: their four addresses as records, and their blocks in the layout of
// their generation.
#ifndef RAVO_DAQ_READER_SELECTED_BLOCK_H
#define RAVO_DAQ_READER_SELECTED_BLOCK_H

#include <cstddef>
#include <cstring>

#include "ravo_block_access.h"
#include "ravo_core_records.h"
#include "ravo_raw_generations.h"

namespace ravo {

template <class record>
record* at_address(std::uint64_t address) {
  return reinterpret_cast<record*>(address);
}

inline bool is_current(const ravo_eventheader& header) {
  return header.pattern != RAVO_EVENT_HEADER_PATTERN;
}

/// Bytes of a block, subheader and data, as it says; 0 if that is less than its subheader.
template <class subhead>
std::size_t block_length(const subhead& block) {
  const std::int32_t head = sizeof(subhead);
  return block.ldata < head ? 0 : static_cast<std::size_t>(block.ldata);
}

/// Whether an entry's block has the current layout. The data show it, because they directly follow the
/// subheader; without data, the event header. The two disagree only in a file with a false generation.
inline bool has_current_block(const ravo_channel_entry_long& entry, bool otherwise) {
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  if (at.data - at.chhd == sizeof(ravo_serv_block_subhead_2010)) return true;
  if (at.data - at.chhd == sizeof(ravo_serv_block_subhead)) return false;
  return at.evhd ? is_current(*at_address<const ravo_eventheader>(at.evhd)) : otherwise;
}

/// Bytes that may be read from an entry's channel header on. Readers hand out whole subheaders even if
/// `ldata` is wrong.
inline std::size_t readable_length(const ravo_channel_entry_long& entry, bool otherwise_current) {
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  if (!at.chhd) return 0;
  if (has_current_block(entry, otherwise_current)) {
    const auto& block = *at_address<const ravo_serv_block_subhead_2010>(at.chhd);
    return block_length(block) ? block_length(block) : sizeof block;
  }
  const auto& block = *at_address<const ravo_serv_block_subhead>(at.chhd);
  return block_length(block) ? block_length(block) : sizeof block;
}

/// The channel header of an entry that a reader of older files handed out; null if it has no older header.
inline ravo_serv_block_subhead* older_block(const ravo_channel_entry_long& entry) {
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  return at.data - at.chhd == sizeof(ravo_serv_block_subhead_2010)
             ? nullptr
             : at_address<ravo_serv_block_subhead>(at.chhd);
}

/// The data type, low 16 bits, of an entry's channel header, read in the layout of one generation, which
/// may differ from the entry's; 0 if the entry's block is too short for that.
inline int type_in_layout(const ravo_channel_entry_long& entry, bool current) {
  const std::size_t offset =
      current ? offsetof(ravo_serv_block_subhead_2010, dtype) : offsetof(ravo_serv_block_subhead, dtype);
  std::int32_t dtype;
  if (readable_length(entry, current) < offset + sizeof dtype) return 0;
  std::memcpy(&dtype, at_address<const char>(entry.sbchdata[0].chhd) + offset, sizeof dtype);
  return dtype & 0xffff;
}

// Operations that the table-access library has once per generation. Older blocks have no groups and no
// statistics.

inline void* pointer_to_data(ravo_serv_block_subhead_2010* block, int member) {
  return get_pointer_to_data_2010(block, member);
}
inline void* pointer_to_data(ravo_serv_block_subhead* block, int member) {
  return get_pointer_to_data_2009(block, member);
}

inline bool spectrum_parameters(ravo_serv_block_subhead_2010* block, float* start, float* inc, float** mean,
                                int* ndata, int* groups, float* groups_inc,
                                ravo_spect_statistics_2010** stats, int member) {
  return get_spect_params_for_data_type_2010(block, start, inc, mean, ndata, groups, groups_inc, stats,
                                             member);
}
inline bool spectrum_parameters(ravo_serv_block_subhead* block, float* start, float* inc, float** mean,
                                int* ndata, int*, float*, ravo_spect_statistics_2010**, int member) {
  return get_spect_params_for_data_type_2009(block, start, inc, mean, ndata, member);
}

/// Prints what the type of a block's spectrum means; negative for older blocks, which have no description.
inline int describe_spectrum(const ravo_serv_block_subhead_2010* block) {
  return get_spect_code_description_2010(block);
}
inline int describe_spectrum(const ravo_serv_block_subhead*) { return -1; }

/// The type of a generation's updates of slow channels.
inline int update_type(bool current) {
  return current ? raw_format_2010::update_dtype : raw_format_2009::update_dtype;
}

inline bool is_image_type(int type) { return type == RAVO_BLOCK_IMAGE || type == RAVO_BLOCK_IMAGE_EXT; }

}  // namespace ravo

#endif
