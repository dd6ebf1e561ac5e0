// Walks the channels of one event: which channel is selected, and its generation and class.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "cursor/selected_block.h"
#include "ravo_daq_data.h"
#include "ravo_evutl.h"
#include "ravo_raw_generations.h"

using ravo::at_address;
using ravo::raw_format_2009;
using ravo::raw_format_2010;

namespace {

enum property_class { text_class = 1, service_class = 2, fast_class = 3, image_class = 4 };
enum channel_kind { fast_channel = 1, slow_channel = 2 };

bool is_slow_structure(int structure) { return structure == RAVO_EV_STRUCT_GLOBAL; }
bool is_fast_structure(int structure) {
  return structure == RAVO_EV_STRUCT_LOCAL || structure == RAVO_EV_STRUCT_ML;
}

// The interface defines the classes by the numbers of types and not by their layouts: types 33 to 37 are
// service blocks in current events only, because older files use the numbers for other types, and 31 is
// fast data, though it has the layout of an update.
int class_of(int dtype, bool current) {
  const int type = static_cast<std::int16_t>(dtype & 0xffff);
  if (type == RAVO_BLOCK_NAME_VALUE_STRING) return text_class;
  if (ravo::is_image_type(type)) return image_class;
  if (type <= RAVO_EOR_BLOCK || type == RAVO_BLOCK_NAME_VALUE) return service_class;
  if (current && type >= RAVO_UPD_BLOCK_2010 && type <= RAVO_EOR_BLOCK_2010) return service_class;
  return fast_class;
}

// Whether the zero-terminated text at `field`, which has at most `room` bytes, is `name`.
bool is_named(const char* field, std::size_t room, const char* name) {
  const std::size_t length = std::strlen(name);
  return length < room && std::memcmp(field, name, length) == 0 && field[length] == 0;
}

template <class G>
constexpr bool is_current_generation = G::generation == ravo::type_generation::current;

template <class G>
constexpr const char* no_server_block = "ravo_daq_getdata::SetHead: srvb pointer = NULL";
template <>
constexpr const char* no_server_block<raw_format_2010> =
    "ravo_daq_getdata::SetHead_2010: srvb pointer = NULL";

// Whether an entry belongs to the channel `name`, or to the property `name` of a slow channel.
template <class G>
bool has_name(const ravo_channel_entry_long& entry, const char* name) {
  constexpr bool current = is_current_generation<G>;
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  const std::size_t length = ravo::readable_length(entry, current);
  if (ravo::type_in_layout(entry, current) != G::update_dtype)
    return is_named(at_address<const char>(at.chhd), std::min(sizeof(G::subhead::chname), length), name);
  // Uses the entry's own subheader: its generation may differ from that of the selection.
  const std::size_t head = ravo::has_current_block(entry, current) ? sizeof(ravo_serv_block_subhead_2010)
                                                                   : sizeof(ravo_serv_block_subhead);
  return at.data && length > head &&
         is_named(at_address<const char>(at.data),
                  std::min(sizeof(G::update_block::upd_prop), length - head), name);
}

}  // namespace

ravo_daq_getdata::~ravo_daq_getdata() { Clean(); }

// Does not clear the headers of the current generation: the next selection overwrites them.
void ravo_daq_getdata::Clean() {
  Status = 0;
  Res = nullptr;
  data_2010 = true;
  Nchan = NFast = NSlow = NImage = Ichan = 0;
  Nptr = 1;
  Nmemb = DataType = PropType = ChanType = 0;
  PropName = nullptr;
  EventHeader = nullptr;
  SrvbHeader = nullptr;
  ChanHeader = nullptr;
  Data = nullptr;
  ImageXstart = ImageXinc = ImageYstart = ImageYinc = 0;
  ImageNx = ImageNy = 0;
  ImageFloat = nullptr;
  measured_data = converted_values = 0;
  converted_images.clear();
}

int ravo_daq_getdata::SetRes(std::vector<ravo_channel_entry_long*>* res) {
  if (!res || res->empty()) {
    Res = nullptr;
    Nchan = 0;
    return res ? -11 : -12;
  }
  Res = res;
  Nchan = static_cast<std::int32_t>(res->size());
  Ichan = 0;
  const int code = SetHead();
  if (code < 0) return code;
  for (const ravo_channel_entry_long* entry : *res) count_channel(entry);
  return Nchan;
}

void ravo_daq_getdata::count_channel(const ravo_channel_entry_long* entry) {
  if (!entry || !entry->sbchdata[0].evhd) return;
  const int event_type = at_address<const ravo_eventheader>(entry->sbchdata[0].evhd)->event_type;
  const int structure = get_event_struct_type(event_type);
  if (is_slow_structure(structure))
    ++NSlow;
  else if (is_fast_structure(structure))
    ++(ravo::is_image_type(ravo::type_in_layout(*entry, data_2010)) ? NImage : NFast);
  else
    std::printf("Unknown event structure !!!! %d\n", event_type);
}

int ravo_daq_getdata::SetHead() {
  const ravo_channel_entry_long* const entry = Res ? Res->at(static_cast<std::size_t>(Ichan)) : nullptr;
  if (!entry) {
    std::cerr << "ravo_daq_getdata::SetHead: ent = NULL" << std::endl;
    return -1;
  }
  if (Nptr < 1) return -4;
  const ravo_event_chan_ptr_long_entry& at = entry->sbchdata[0];
  EventHeader = at_address<ravo_eventheader>(at.evhd);
  if (!EventHeader) {
    std::cerr << "ravo_daq_getdata::SetHead: event header pointer = NULL" << std::endl;
    return -2;
  }
  data_2010 = ravo::is_current(*EventHeader);
  if (data_2010) {
    const int code = set_head<raw_format_2010>(*entry, SrvbHeader_2010, ChanHeader_2010);
    if (ChanHeader_2010) last_header_type = ChanHeader_2010->dtype;
    if (code != 0) return code;
    SrvbHeader = nullptr;
    ChanHeader = nullptr;
  } else {
    if (const int code = set_head<raw_format_2009>(*entry, SrvbHeader, ChanHeader); code != 0) return code;
    SrvbHeader_2010 = nullptr;
    ChanHeader_2010 = nullptr;
  }
  return 0;
}

template <class G>
int ravo_daq_getdata::set_head(const ravo_channel_entry_long& entry, typename G::server_block_head*& server,
                               typename G::subhead*& channel) {
  set_headers<G>(entry, server, channel);
  if (!server) {
    std::cerr << no_server_block<G> << std::endl;
    return -3;
  }
  if (!channel) {
    std::cerr << "ravo_daq_getdata::SetHead: channel header pointer = NULL" << std::endl;
    return -4;
  }
  classify(entry, *channel);
  measured_data = measure_data(*channel);
  Status = 1;
  return 0;
}

// The pattern of the event header alone decides how headers are read. If the reader found blocks of the
// other generation, they may be shorter than the expected headers: then copies replace the headers.
template <class G>
void ravo_daq_getdata::set_headers(const ravo_channel_entry_long& entry,
                                   typename G::server_block_head*& server, typename G::subhead*& channel) {
  using server_head = typename G::server_block_head;
  using subhead = typename G::subhead;
  constexpr bool current = is_current_generation<G>;
  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  server = at_address<server_head>(at.sbhd);
  channel = at_address<subhead>(at.chhd);
  if (ravo::has_current_block(entry, current) == current) return;
  constexpr std::size_t server_room =
      current ? sizeof(ravo_serv_block_head) : sizeof(ravo_serv_block_head_2010);
  if (server && server_room < sizeof(server_head)) {
    belied_server = {};
    std::memcpy(&belied_server, server, server_room);
    server = reinterpret_cast<server_head*>(&belied_server);
  }
  const std::size_t room = ravo::readable_length(entry, current);
  const auto is_belied = [&] {
    if (room < sizeof(subhead) || room < ravo::block_length(*channel)) return true;
    const bool claims_data = ravo::block_length(*channel) > sizeof(subhead);
    return claims_data && (at.data < at.chhd || at.data - at.chhd > ravo::block_length(*channel));
  };
  if (channel && is_belied()) {
    belied_channel = {};
    std::memcpy(&belied_channel, channel, std::min(room, sizeof(subhead)));
    channel = reinterpret_cast<subhead*>(&belied_channel);
  }
}

template <class subhead>
void ravo_daq_getdata::classify(const ravo_channel_entry_long& entry, subhead& header) {
  DataType = header.dtype;
  const int structure = get_event_struct_type(EventHeader->event_type);
  if (is_slow_structure(structure))
    ChanType = slow_channel;
  else if (is_fast_structure(structure))
    ChanType = fast_channel;
  else
    std::printf("SetHead() unknown event structure\n");
  PropType = class_of(DataType, data_2010);

  const ravo_event_chan_ptr_long_entry& at = entry.sbchdata[0];
  char* const entry_data = at_address<char>(at.data);
  char* const entry_header = at_address<char>(at.chhd);
  // A copy that replaces the header has no data: the data of the block are shorter than it says.
  const bool has_data = reinterpret_cast<char*>(&header) == entry_header &&
                        static_cast<std::uint32_t>(header.ldata) > sizeof header;
  Data = has_data ? find_data(header, entry_data) : nullptr;
  PropName = ChanType == slow_channel ? entry_data : entry_header;
  const int type = DataType & 0xffff;
  Nmemb = reinterpret_cast<char*>(&header) == entry_header ? get_channel_number(type, &header)
                                                           : get_channel_number(type, 0);
}

// For texts and fast data, the data that the table-access library finds; otherwise those of the entry.
template <class subhead>
char* ravo_daq_getdata::find_data(subhead& header, char* entry_data) const {
  if (PropType != text_class && PropType != fast_class) return entry_data;
  void* const found = ravo::pointer_to_data(&header, 0);
  return found ? static_cast<char*>(found) : entry_data;
}

// Bytes from Data to the end of the block; if Data lies outside the block, all data bytes of the block.
template <class subhead>
std::size_t ravo_daq_getdata::measure_data(const subhead& header) const {
  const std::size_t block = ravo::block_length(header);
  if (!Data || block < sizeof header) return 0;
  const auto from = reinterpret_cast<std::uintptr_t>(Data);
  const auto begin = reinterpret_cast<std::uintptr_t>(&header);
  if (from >= begin && from - begin <= block) return block - (from - begin);
  return block - sizeof header;
}

bool ravo_daq_getdata::can_select(const char* complaint) const {
  if (Status == 1 && Res && Nchan > 0) return true;
  std::cerr << complaint << Status << " Res= " << Res << " Nchan= " << Nchan << std::endl;
  return false;
}

bool ravo_daq_getdata::is(kind wanted) const {
  switch (wanted) {
    case kind::fast:
      return ChanType == fast_channel && PropType != image_class;
    case kind::slow:
      return ChanType == slow_channel;
    case kind::image:
      return ChanType == fast_channel && PropType == image_class;
  }
  return false;
}

int ravo_daq_getdata::select(int index) {
  Ichan = index;
  const int code = SetHead();
  return code < 0 ? code : PropType;
}

// At the end of the entries, the last entry stays selected.
int ravo_daq_getdata::select_next(kind wanted) {
  while (Ichan + 1 < Nchan) {
    const int code = select(Ichan + 1);
    if (code < 0 || is(wanted)) return code;
  }
  return 0;
}

int ravo_daq_getdata::select_nth(kind wanted, int n, int count) {
  if (n < 0 || n >= count) return 0;
  const int code = select(0);
  if (code < 0) return code;
  int seen = 0;
  if (is(wanted)) {
    if (n == 0) return code;
    seen = 1;
  }
  for (;; ++seen) {
    const int next = select_next(wanted);
    if (next < 1) return 0;
    if (seen == n) return next;
  }
}

int ravo_daq_getdata::SetNextChan() {
  if (!can_select("ravo_daq_getdata::SetNextChan: Status= ")) return -1;
  return Ichan + 1 >= Nchan ? 0 : select(Ichan + 1);
}

int ravo_daq_getdata::SetChan(int i) {
  if (!can_select("ravo_daq_getdata::SetChan: Status= ")) return -1;
  return i < 0 || i >= Nchan ? 0 : select(i);
}

int ravo_daq_getdata::SetFastNext() {
  return can_select("ravo_daq_getdata::SetFastNext: Status= ") ? select_next(kind::fast) : -1;
}

int ravo_daq_getdata::SetSlowNext() {
  return can_select("ravo_daq_getdata::SetSlowNext: Status= ") ? select_next(kind::slow) : -1;
}

int ravo_daq_getdata::SetImageNext() {
  return can_select("ravo_daq_getdata::SetImageNext: Status= ") ? select_next(kind::image) : -1;
}

int ravo_daq_getdata::SetFast(int n) {
  return can_select("ravo_daq_getdata::SetFast: Status= ") ? select_nth(kind::fast, n, NFast) : -1;
}

int ravo_daq_getdata::SetSlow(int n) {
  return can_select("ravo_daq_getdata::SetSlow: Status= ") ? select_nth(kind::slow, n, NSlow) : -1;
}

int ravo_daq_getdata::SetImage(int n) {
  return can_select("ravo_daq_getdata::SetImage: Status= ") ? select_nth(kind::image, n, NImage) : -1;
}

int ravo_daq_getdata::SetProp(const char* name) {
  if (!can_select("ravo_daq_getdata::SetProp: Status= ")) return -10;
  if (!name) return -11;
  const auto is_wanted = data_2010 ? has_name<raw_format_2010> : has_name<raw_format_2009>;
  for (std::int32_t i = 0; i < Nchan; ++i) {
    const ravo_channel_entry_long* const entry = Res->at(static_cast<std::size_t>(i));
    if (entry && entry->sbchdata[0].chhd && is_wanted(*entry, name)) return select(i);
  }
  return -11;
}
