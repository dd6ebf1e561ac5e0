// The raw file of both generations, record by record: tables, baskets and headers. On disk every
// integer and every float is a big-endian 32-bit word and text is stored as bytes; in memory the records
// are in host order. Names without _2010 are the older generation's; a record that both generations
// share exists once, with the other name as an alias. The enumerations are in ravo_raw_codes.h, the data
// of a channel in ravo_payload.h and ravo_data_types.h; docs/raw-format.md says the same in prose.
#ifndef RAVO_RAW_FORMAT_H
#define RAVO_RAW_FORMAT_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ravo_core_records.h"
#include "ravo_raw_codes.h"

// Marker words. A table, basket or header that does not begin with its marker is refused.
// All end in f3, so that a hex dump shows a table's start at a glance; no marker is a plausible
// ASCII text, offset or float. The reference table's marker identifies a file's generation; the event
// header's, that of an event once it is in memory. All other markers are the same in both.
inline constexpr std::uint32_t RAVO_REFERENCE_TABLE_PATTERN_2010 = 0xfefafaf3u;
inline constexpr std::uint32_t RAVO_REFERENCE_TABLE_PATTERN = 0xfeafeaf3u;
inline constexpr std::uint32_t RAVO_EVENT_INDEX_PATTERN = 0xedaedaf3u;
inline constexpr std::uint32_t RAVO_CHAN_DICTIONARY_PATTERN = 0xdcadcaf3u;
inline constexpr std::uint32_t RAVO_EVENT_CHAN_POINTERS_PATTERN = 0xecbecbf3u;
inline constexpr std::uint32_t RAVO_ENV_DICTIONARY_PATTERN = 0xeddeddf3u;
inline constexpr std::uint32_t RAVO_XML_CHAN_DESCR_PATTERN = 0xcddcddf3u;
inline constexpr std::uint32_t RAVO_EVENT_HEADER_BASKET_PATTERN = 0xebaebaf3u;
inline constexpr std::uint32_t RAVO_SERVER_BLOCK_BASKET_PATTERN = 0xb5bb5bf3u;
inline constexpr std::uint32_t RAVO_CHANNEL_BASKET_PATTERN = 0xcbacbaf3u;
inline constexpr std::uint32_t RAVO_EVENT_HEADER_PATTERN_2010 = 0xffeef3f3u;
/// The older generation's, which does not end in f3 because it predates the others.
inline constexpr std::uint32_t RAVO_EVENT_HEADER_PATTERN = 0xffeeffeeu;

/// The first 16 bytes of a file of each generation, for people and file(1); no reader needs them.
/// They also keep offset 0 free, so that an offset of 0 always means "not there".
inline constexpr char RAVO_FILE_SIGNATURE_2010[17] = "RAVO raw 2010\r\n\x1a";
inline constexpr char RAVO_FILE_SIGNATURE[17] = "RAVO raw 2009\r\n\x1a";

// ---- tables -------------------------------------------------------------------------------------

/// Where everything else in the file is. The last 4 bytes of the file hold this table's offset.
/// An offset of 0 means that there is no such thing in this file.
struct ravo_file_reference_table_2010 {
  std::uint32_t pattern;
  std::int32_t length;             ///< bytes, this head included: 168
  std::uint32_t eit_pos_ref;       ///< event index table
  std::uint32_t eite_pos_ref[32];  ///< event index entry of each event type
  std::uint32_t cdt_ref;           ///< channel dictionary table
  std::uint32_t ecp_ref;           ///< event channel pointer table
  std::uint32_t eidt_ref;          ///< environment index dictionary table
  std::uint32_t xcd_ref;           ///< XML channel description header
  std::uint32_t evhdb_ref;         ///< event header basket
  std::uint32_t srvbb_ref;         ///< server block basket
  std::uint32_t chanb_ref;         ///< first channel basket
};
static_assert(sizeof(ravo_file_reference_table_2010) == 168);
static_assert(offsetof(ravo_file_reference_table_2010, eit_pos_ref) == 8);
static_assert(offsetof(ravo_file_reference_table_2010, eite_pos_ref) == 12);
static_assert(offsetof(ravo_file_reference_table_2010, cdt_ref) == 140);
static_assert(offsetof(ravo_file_reference_table_2010, ecp_ref) == 144);
static_assert(offsetof(ravo_file_reference_table_2010, eidt_ref) == 148);
static_assert(offsetof(ravo_file_reference_table_2010, xcd_ref) == 152);
static_assert(offsetof(ravo_file_reference_table_2010, evhdb_ref) == 156);
static_assert(offsetof(ravo_file_reference_table_2010, srvbb_ref) == 160);
static_assert(offsetof(ravo_file_reference_table_2010, chanb_ref) == 164);
using ravo_file_reference_table = ravo_file_reference_table_2010;

/// One event of one event type.
struct ravo_event_info_entry_2010 {
  time_stamp time;
  std::uint32_t event_number;
  std::uint32_t offset;  ///< of the event header
};
static_assert(sizeof(ravo_event_info_entry_2010) == 16);
using ravo_event_info_entry = ravo_event_info_entry_2010;

/// Head of one event type's entry; `length` info entries follow it.
struct ravo_event_index_entry_head_2010 {
  std::int32_t event_type;  ///< RAVO_EVTYPE
  time_stamp event_time_first;
  time_stamp event_time_last;
  std::uint32_t event_number_first;
  std::uint32_t event_number_last;
  std::int32_t length;  ///< number of info entries that follow
};
static_assert(sizeof(ravo_event_index_entry_head_2010) == 32);
static_assert(offsetof(ravo_event_index_entry_head_2010, event_time_first) == 4);
static_assert(offsetof(ravo_event_index_entry_head_2010, event_time_last) == 12);
static_assert(offsetof(ravo_event_index_entry_head_2010, event_number_first) == 20);
static_assert(offsetof(ravo_event_index_entry_head_2010, event_number_last) == 24);
static_assert(offsetof(ravo_event_index_entry_head_2010, length) == 28);
using ravo_event_index_entry_head = ravo_event_index_entry_head_2010;

/// One event type's entry: its head, then one info entry per event.
struct ravo_event_index_entry_2010 : ravo_event_index_entry_head_2010 {
  ravo_event_info_entry_2010* event_info() {
    return reinterpret_cast<ravo_event_info_entry_2010*>(this + 1);
  }
  const ravo_event_info_entry_2010* event_info() const {
    return reinterpret_cast<const ravo_event_info_entry_2010*>(this + 1);
  }
  /// The entry after this one's info entries.
  ravo_event_index_entry_2010* next() {
    return reinterpret_cast<ravo_event_index_entry_2010*>(event_info() + length);
  }
  const ravo_event_index_entry_2010* next() const {
    return reinterpret_cast<const ravo_event_index_entry_2010*>(event_info() + length);
  }
};
static_assert(sizeof(ravo_event_index_entry_2010) == 32);
using ravo_event_index_entry = ravo_event_index_entry_2010;

/// The events of the file, by event type.
struct ravo_event_index_table_2010 {
  std::uint32_t pattern;
  std::int32_t nevent_types;  ///< number of entries that follow
  ravo_event_index_entry_2010* event_index_entry() {
    return reinterpret_cast<ravo_event_index_entry_2010*>(this + 1);
  }
  const ravo_event_index_entry_2010* event_index_entry() const {
    return reinterpret_cast<const ravo_event_index_entry_2010*>(this + 1);
  }
};
static_assert(sizeof(ravo_event_index_table_2010) == 8);
using ravo_event_index_table = ravo_event_index_table_2010;

/// One channel of the file.
struct ravo_chan_dictionary_entry_2010 {
  std::uint32_t key;
  char chan_name[256];       ///< zero-terminated
  std::uint32_t ev_mask;     ///< bit n: the channel occurs in events of RAVO_EVTYPE n
  std::uint32_t dtype_mask;  ///< bit n: its blocks have RAVO_SUBBLOCK_TYPE n
  std::int32_t count;        ///< number of events that hold the channel
};
static_assert(sizeof(ravo_chan_dictionary_entry_2010) == 272);
static_assert(offsetof(ravo_chan_dictionary_entry_2010, chan_name) == 4);
static_assert(offsetof(ravo_chan_dictionary_entry_2010, ev_mask) == 260);
static_assert(offsetof(ravo_chan_dictionary_entry_2010, dtype_mask) == 264);
static_assert(offsetof(ravo_chan_dictionary_entry_2010, count) == 268);

/// The channels of the file: head, then (length - 8) / 272 entries.
struct ravo_chan_dictionary_table_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes, this head included
  ravo_chan_dictionary_entry_2010* channel_entry() {
    return reinterpret_cast<ravo_chan_dictionary_entry_2010*>(this + 1);
  }
  const ravo_chan_dictionary_entry_2010* channel_entry() const {
    return reinterpret_cast<const ravo_chan_dictionary_entry_2010*>(this + 1);
  }
};
static_assert(sizeof(ravo_chan_dictionary_table_2010) == 8);

/// One channel of an older file.
struct ravo_chan_dictionary_entry {
  std::uint32_t key;
  char chan_name[80];  ///< zero-terminated
  std::uint32_t ev_mask;
  std::uint32_t dtype_mask;
  std::int32_t count;
};
static_assert(sizeof(ravo_chan_dictionary_entry) == 96);
static_assert(offsetof(ravo_chan_dictionary_entry, chan_name) == 4);
static_assert(offsetof(ravo_chan_dictionary_entry, ev_mask) == 84);
static_assert(offsetof(ravo_chan_dictionary_entry, dtype_mask) == 88);
static_assert(offsetof(ravo_chan_dictionary_entry, count) == 92);

/// The channels of an older file: head, then (length - 8) / 96 entries.
struct ravo_chan_dictionary_table {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes, this head included
  ravo_chan_dictionary_entry* channel_entry() {
    return reinterpret_cast<ravo_chan_dictionary_entry*>(this + 1);
  }
  const ravo_chan_dictionary_entry* channel_entry() const {
    return reinterpret_cast<const ravo_chan_dictionary_entry*>(this + 1);
  }
};
static_assert(sizeof(ravo_chan_dictionary_table) == 8);

/// Where one event of one channel lies in the file.
struct ravo_event_chan_ptr_entry {
  std::uint32_t evhd;  ///< event header
  std::uint32_t sbhd;  ///< server-block header
  std::uint32_t chhd;  ///< channel subheader
  std::uint32_t data;  ///< the channel's data
};
static_assert(sizeof(ravo_event_chan_ptr_entry) == 16);

/// Rows of maxev entries, one row per channel; entry i of row r is chptr()[r * maxev + i].
struct ravo_event_chan_pointers_table {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes, this 12-byte head included
  std::int32_t maxev;   ///< entries reserved for each row
  ravo_event_chan_ptr_entry* chptr() { return reinterpret_cast<ravo_event_chan_ptr_entry*>(this + 1); }
  const ravo_event_chan_ptr_entry* chptr() const {
    return reinterpret_cast<const ravo_event_chan_ptr_entry*>(this + 1);
  }
};
static_assert(sizeof(ravo_event_chan_pointers_table) == 12);
using ravo_event_chan_pointers_table_2010 = ravo_event_chan_pointers_table;

/// One environment channel: its key in the channel dictionary and its index in environment blocks.
struct ravo_env_dictionary_entry_2010 {
  std::uint32_t key;
  std::int32_t index;
};
static_assert(sizeof(ravo_env_dictionary_entry_2010) == 8);
using ravo_env_dictionary_entry = ravo_env_dictionary_entry_2010;

/// The environment channels of the file: head, then (length - 8) / 8 entries.
struct ravo_env_dictionary_table_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes, this head included
  ravo_env_dictionary_entry_2010* dictionary_entry() {
    return reinterpret_cast<ravo_env_dictionary_entry_2010*>(this + 1);
  }
  const ravo_env_dictionary_entry_2010* dictionary_entry() const {
    return reinterpret_cast<const ravo_env_dictionary_entry_2010*>(this + 1);
  }
};
static_assert(sizeof(ravo_env_dictionary_table_2010) == 8);
using ravo_env_dictionary_table = ravo_env_dictionary_table_2010;

/// Head of the XML text of the channel descriptions; length - 8 bytes of UTF-8 follow it.
struct ravo_xml_chan_descr_header_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes, this head included
  char* xml() { return reinterpret_cast<char*>(this + 1); }
  const char* xml() const { return reinterpret_cast<const char*>(this + 1); }
};
static_assert(sizeof(ravo_xml_chan_descr_header_2010) == 8);
using ravo_xml_chan_descr_header = ravo_xml_chan_descr_header_2010;

// ---- headers and baskets ------------------------------------------------------------------------

/// Head of every event.
struct ravo_eventheader {
  std::uint32_t pattern;
  std::uint32_t event_length;  ///< bytes of the event: this header, its server blocks, its channels
  std::uint32_t event_number;
  RAVO_EVTYPE event_type;
  time_stamp event_time;
  std::int32_t tmask;
  std::int32_t status;
  std::int32_t num_svr_block;  ///< number of server blocks of the event
};
static_assert(sizeof(ravo_eventheader) == 36);
static_assert(offsetof(ravo_eventheader, event_number) == 8);
static_assert(offsetof(ravo_eventheader, event_type) == 12);
static_assert(offsetof(ravo_eventheader, event_time) == 16);
static_assert(offsetof(ravo_eventheader, tmask) == 24);
static_assert(offsetof(ravo_eventheader, status) == 28);
static_assert(offsetof(ravo_eventheader, num_svr_block) == 32);

/// Head of one server block: what one front-end server contributed to one event.
struct ravo_serv_block_head_2010 {
  time_stamp time;
  std::int32_t ltotal;  ///< bytes of this head and of the blocks of its channels
  std::int32_t mpulse;  ///< macro-pulse number as the server counted it
  char server[256];     ///< zero-terminated
  std::int32_t tmask;
  std::int32_t status;  ///< RAVO_SBLOCK_ERROR bits
  std::int32_t nchan;   ///< number of channels in this server block
};
static_assert(sizeof(ravo_serv_block_head_2010) == 284);
static_assert(offsetof(ravo_serv_block_head_2010, ltotal) == 8);
static_assert(offsetof(ravo_serv_block_head_2010, mpulse) == 12);
static_assert(offsetof(ravo_serv_block_head_2010, server) == 16);
static_assert(offsetof(ravo_serv_block_head_2010, tmask) == 272);
static_assert(offsetof(ravo_serv_block_head_2010, status) == 276);
static_assert(offsetof(ravo_serv_block_head_2010, nchan) == 280);

/// The same of an older file.
struct ravo_serv_block_head {
  time_stamp time;
  std::int32_t ltotal;
  std::int32_t mpulse;
  char server[48];  ///< zero-terminated
  std::int32_t tmask;
  std::int32_t status;
  std::int32_t nchan;
};
static_assert(sizeof(ravo_serv_block_head) == 76);
static_assert(offsetof(ravo_serv_block_head, ltotal) == 8);
static_assert(offsetof(ravo_serv_block_head, mpulse) == 12);
static_assert(offsetof(ravo_serv_block_head, server) == 16);
static_assert(offsetof(ravo_serv_block_head, tmask) == 64);
static_assert(offsetof(ravo_serv_block_head, status) == 68);
static_assert(offsetof(ravo_serv_block_head, nchan) == 72);

/// One channel's block inside a channel basket: this subheader, then its data.
struct ravo_serv_block_subhead_2010 {
  char chname[256];  ///< zero-terminated
  std::int32_t
      dtype;  ///< low 16 bits: RAVO_SUBBLOCK_TYPE; high 16 bits of a subchannel: the type it was cut from
  std::int32_t error;  ///< RAVO_SBLOCK_ERROR bits
  std::int32_t ldata;  ///< bytes of subheader and data
};
static_assert(sizeof(ravo_serv_block_subhead_2010) == 268);
static_assert(offsetof(ravo_serv_block_subhead_2010, dtype) == 256);
static_assert(offsetof(ravo_serv_block_subhead_2010, error) == 260);
static_assert(offsetof(ravo_serv_block_subhead_2010, ldata) == 264);

/// The same in an older file. The name has less room than in the dictionary: readers compare the two, so
/// a channel's name has at most 31 bytes, and at most 29 if its first ten subchannels are to be cut out.
struct ravo_serv_block_subhead {
  char chname[32];  ///< zero-terminated
  std::int32_t dtype;
  std::int32_t error;
  std::int32_t ldata;
};
static_assert(sizeof(ravo_serv_block_subhead) == 44);
static_assert(offsetof(ravo_serv_block_subhead, dtype) == 32);
static_assert(offsetof(ravo_serv_block_subhead, error) == 36);
static_assert(offsetof(ravo_serv_block_subhead, ldata) == 40);

/// Bits of ravo_zip_header::zip_flags; zlib is tested first.
inline constexpr std::uint32_t RAVO_ZIP_ZLIB = 1;   ///< deflate stream with zlib wrapper
inline constexpr std::uint32_t RAVO_ZIP_LZO1X = 2;  ///< LZO1X stream

/// Follows the subheader of a compressed block; the compressed bytes follow it.
struct ravo_zip_header {
  std::uint32_t zip_flags;
  std::uint32_t orig_length;  ///< bytes of the data after decompression
  std::uint32_t zipp_length;  ///< bytes of the compressed data
};
static_assert(sizeof(ravo_zip_header) == 12);

/// All event headers of the file, back to back.
struct ravo_event_header_basket_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes of the whole basket, from its first byte
  ravo_eventheader* event_header() { return reinterpret_cast<ravo_eventheader*>(this + 1); }
};
static_assert(sizeof(ravo_event_header_basket_2010) == 8);
using ravo_event_header_basket = ravo_event_header_basket_2010;

/// All server-block headers of the file, back to back.
struct ravo_server_block_basket_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes of the whole basket, from its first byte
  ravo_serv_block_head_2010* server_block() {
    return reinterpret_cast<ravo_serv_block_head_2010*>(this + 1);
  }
};
static_assert(sizeof(ravo_server_block_basket_2010) == 8);

/// The same of an older file.
struct ravo_server_block_basket {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes of the whole basket, from its first byte
  ravo_serv_block_head* server_block() { return reinterpret_cast<ravo_serv_block_head*>(this + 1); }
};
static_assert(sizeof(ravo_server_block_basket) == 8);

/// All blocks of one channel, one after another; the first subheader follows directly. Each block
/// begins at a multiple of 4: up to three zero bytes, not counted in its ldata, fill the gap before the
/// next block or the end of the basket.
struct ravo_channel_basket_2010 {
  std::uint32_t pattern;
  std::int32_t length;  ///< bytes of the whole basket, from its first byte
};
static_assert(sizeof(ravo_channel_basket_2010) == 8);
using ravo_channel_basket = ravo_channel_basket_2010;

/// One environment reading.
struct ravo_env_data_block_2010 {
  std::int32_t env_ch_idx;  ///< index of the environment channel (environment dictionary)
  std::int32_t env_ch_status;
  time_stamp env_ch_time;
  float env_ch_data;
};
static_assert(sizeof(ravo_env_data_block_2010) == 20);
static_assert(offsetof(ravo_env_data_block_2010, env_ch_data) == 16);
using ravo_env_data_block = ravo_env_data_block_2010;

/// One update of a slow channel. Environment readings reach the caller in this shape too.
struct ravo_upd_data_block_2010 {
  char upd_prop[256];  ///< property name, zero-terminated
  std::int32_t upd_ch_status;
  time_stamp upd_ch_time;
  float upd_ch_data;
};
static_assert(sizeof(ravo_upd_data_block_2010) == 272);
static_assert(offsetof(ravo_upd_data_block_2010, upd_ch_status) == 256);
static_assert(offsetof(ravo_upd_data_block_2010, upd_ch_time) == 260);
static_assert(offsetof(ravo_upd_data_block_2010, upd_ch_data) == 268);

/// The same of an older file.
struct ravo_upd_data_block {
  char upd_prop[80];  ///< property name, zero-terminated
  std::int32_t upd_ch_status;
  time_stamp upd_ch_time;
  float upd_ch_data;
};
static_assert(sizeof(ravo_upd_data_block) == 96);
static_assert(offsetof(ravo_upd_data_block, upd_ch_status) == 80);
static_assert(offsetof(ravo_upd_data_block, upd_ch_time) == 84);
static_assert(offsetof(ravo_upd_data_block, upd_ch_data) == 92);

// ---- channel descriptions (in memory only; in the file they are XML) ------------------------------

/// One bit of a channel whose value is a bit pattern.
struct bit_descr {
  std::int32_t bit;
  char bit_name[64];
  char bit_desc[80];
};
static_assert(sizeof(bit_descr) == 148);

/// One statistic that the front end computes along a dimension.
struct stat_descr {
  std::int32_t stat;
  char stat_name[64];
  char stat_desc[80];
  char units[16];
};
static_assert(sizeof(stat_descr) == 164);

/// One dimension of a channel's data.
struct dim_descr {
  std::int32_t dim;
  char dim_name[64];
  char dim_desc[80];
  char units[16];
  std::int32_t nstats;  ///< equals stats.size()
  std::vector<stat_descr> stats;
};
static_assert(sizeof(dim_descr) == 192);

/// What is known about a channel besides its data. Delete the elements of bits and dims before you
/// delete a description.
struct chan_descr_2010 {
  std::int32_t stream;
  std::uint32_t ev_type;
  std::int32_t count;
  std::uint32_t dtype;
  std::int32_t db_key;
  char prop_name[256];
  char daq_name[256];
  char prop_desc[256];
  char units[16];
  std::int32_t max_size;
  std::int32_t nbits;  ///< equals bits.size()
  std::vector<bit_descr*> bits;
  std::int32_t ndims;  ///< equals dims.size()
  std::vector<dim_descr*> dims;
  char sb_name[256];
  std::int32_t set_point;
  char subsystem[64];
};

#endif
