// What a channel reader prints about its channel, for a person who inspects a file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <vector>

#include "decode/table_operations.h"
#include "ravo_daq/read_chan.h"
#include "ravo_evutl.h"
#include "scoped_lock.h"

namespace ravo {

template <class G>
void daq_read_chan<G>::print_limit(const char* whole, const char* part, const ravo_time_id& event) {
  if (subchan == -1)
    std::printf(whole, chan);
  else
    std::printf(part, chan, subchan);
  if (event.time.timeup == 0) {
    std::printf(" Unknown\n");
    return;
  }
  const std::time_t seconds = event.time.timeup;
  char text[64] = "";
  ctime_r(&seconds, text);
  text[std::strcspn(text, "\n")] = '\0';
  std::printf(" EventID: %u Time: %s : %u\n", event.event_number, text, event.time.timelow);
}

template <class G>
void daq_read_chan<G>::print_time_limits() {
  ravo_time_id first{};
  ravo_time_id last{};
  get_time_limits(&first, &last);
  print_limit("%s First: ", "%s:%d First: ", first);
  print_limit("%s Last : ", "%s:%d Last : ", last);
}

template <class G>
void daq_read_chan<G>::print_cdt_entry() {
  if (cdt == nullptr) {
    std::printf("print_cdt_entry(): CDT is not initialized\n");
    return;
  }
  char events[32 * 40] = "";  // room for the names of all types
  std::size_t end = 0;
  for (int type = 0; type < 32; ++type) {
    if ((cdt->ev_mask >> type & 1u) == 0) continue;
    const int added = std::snprintf(events + end, sizeof events - end, "%s%s", end == 0 ? "" : ":",
                                    event_name_itoa(type));
    end = std::min(end + static_cast<std::size_t>(added), sizeof events - 1);
  }
  std::printf("[%d]\tKey:%u\tChan:%s\tCount:%d\tEvents:%s\n", cdtl, cdt->key, cdt->chan_name, cdt->count,
              events);
}

template <class G>
void daq_read_chan<G>::print_event_chan_pointers_entry() {
  std::printf("=================ECP=enrty= cdtl:%d  chn_base:%u======\n", cdtl,
              static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(chn_base)));
  for (int i = 0; cdt != nullptr && i < cdt->count; ++i) {
    const typename G::chan_pointers_table_entry* where = get_data_table_pointer(i);
    if (where == nullptr) break;
    std::printf("(%u %u %u %u) ", where->evhd, where->sbhd, where->chhd, where->data);
  }
  std::printf("==========END=OF=ECP=enrty=======\n");
}

template <class G>
template <class Print>
void daq_read_chan<G>::print_entries(const char* head, const char* tail, Print print) {
  const scoped_lock lock(mx);
  if (ecp_tab == nullptr || cdt == nullptr || out == nullptr) return;
  std::printf("%s", head);
  for (int i = 0; i < out_total; ++i) {
    const ravo_time_id& event = out[i].event_id;
    std::printf("%d %d:%d\n", static_cast<int>(event.event_number), static_cast<int>(event.time.timeup),
                static_cast<int>(event.time.timelow));
    print(out[i].sbchdata[0]);
  }
  std::printf("%s", tail);
}

/// Prints the record at an address of an entry; an entry that was not decoded has no address.
template <class Record, class Print>
void print_at(std::uint64_t address, Print print) {
  if (address != 0) print(reinterpret_cast<const Record*>(address));
}

template <class G>
void daq_read_chan<G>::print_event_headers()
  requires G::prints_channels
{
  print_entries("=================EVENT HEADERS======\n", "==========END=OF=EVENT=HEADERS=======\n",
                [](const auto& slot) { print_at<ravo_eventheader>(slot.evhd, dump_event_header_); });
}

template <class G>
void daq_read_chan<G>::print_server_block_headers()
  requires G::prints_channels
{
  print_entries(
      "=================SB HEADERS======\n", "==========END=OF=SB=HEADERS=======\n", [](const auto& slot) {
        print_at<typename G::server_block_head>(slot.sbhd, table_operations<G>::print_server_block_head);
      });
}

template <class G>
void daq_read_chan<G>::print_channel_headers()
  requires G::prints_channels
{
  print_entries("=================CHANNEL HEADERS======\n", "==========END=OF=CHANNEL=HEADERS=======\n",
                [](const auto& slot) {
                  print_at<typename G::subhead>(slot.chhd, table_operations<G>::print_subhead);
                });
}

template <class G>
void daq_read_chan<G>::print_channel()
  requires G::prints_channels
{
  print_entries(
      "=================CHANNEL======\n", "==========END=OF=CHANNEL========\n",
      [](const auto& slot) { print_at<typename G::subhead>(slot.chhd, table_operations<G>::print_block); });
}

template <class G>
void daq_read_chan<G>::print_chan_descr() {
  if (descr.prop_name[0] == '\0') {
    std::printf("%s NO DESCRIPTION SET\n", chan);
    return;
  }
  const std::vector<typename G::chan_descr*> list{&descr};
  table_operations<G>::print_description(&list);
}

}  // namespace ravo
