// The user layer over one event with arbitrary blocks: every selection and every accessor. The input is the
// generation and a list of channels, each with its kind of event, its type, a name and its data in host
// order; headers are as a reader returns them.
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cursor_questions.h"
#include "input.h"
#include "quiet.h"
#include "ravo_daq_data.h"
#include "ravo_data_types.h"

namespace ravo::fuzz {
namespace {

constexpr int most_channels = 6;

struct current {
  using server_block = ravo_serv_block_head_2010;
  using subhead = ravo_serv_block_subhead_2010;
  static constexpr std::uint32_t pattern = RAVO_EVENT_HEADER_PATTERN_2010,
                                 belied_pattern = RAVO_EVENT_HEADER_PATTERN;
};
struct older {
  using server_block = ravo_serv_block_head;
  using subhead = ravo_serv_block_subhead;
  static constexpr std::uint32_t pattern = RAVO_EVENT_HEADER_PATTERN,
                                 belied_pattern = RAVO_EVENT_HEADER_PATTERN_2010;
};

template <class Record>
std::string bytes_of(const Record& record) {
  return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

/// The results of one event, each piece in its own memory.
class event {
 public:
  template <class Generation>
  void add(input& from) {
    ravo_eventheader header{};
    header.pattern = Generation::pattern;
    header.event_number = from.byte();
    // Some headers have the marker of the other generation.
    if (header.event_number >= 0xe0) header.pattern = Generation::belied_pattern;
    header.event_type = static_cast<RAVO_EVTYPE>(from.byte() % 33);
    typename Generation::subhead head{};
    const std::size_t row = from.byte();
    head.dtype = row < std::size(data_types) ? static_cast<int>(data_types[row].code) : from.half();
    if (from.flag()) head.dtype |= from.byte() << 16;
    const std::string name = from.text();
    std::memcpy(head.chname, name.data(), std::min(name.size(), sizeof head.chname - 1));
    const std::string_view data = from.take(from.half());
    head.ldata = static_cast<std::int32_t>(sizeof head + data.size());
    // A reader returns a whole subheader even if its length says otherwise.
    if (const int lie = from.byte(); data.empty()) head.ldata -= lie * 2;

    const auto entry = std::make_shared<ravo_channel_entry_long>();
    entry->event_id = {header.event_number, header.event_time};
    entry->sbchdata[0].evhd = keep(bytes_of(header));
    entry->sbchdata[0].sbhd = keep(bytes_of(typename Generation::server_block{}));
    entry->sbchdata[0].chhd = keep(bytes_of(head).append(data));
    entry->sbchdata[0].data = entry->sbchdata[0].chhd + sizeof head;
    entries_.push_back(entry);
    result_.push_back(entry.get());
  }
  std::vector<ravo_channel_entry_long*>* result() { return &result_; }

 private:
  std::uint64_t keep(const std::string& bytes) {
    memory_.emplace_back(bytes);
    return reinterpret_cast<std::uint64_t>(memory_.back().data());
  }

  std::vector<exact_copy> memory_;
  std::vector<std::shared_ptr<ravo_channel_entry_long>> entries_;
  std::vector<ravo_channel_entry_long*> result_;
};

void use(event& results, const std::string& name) {
  ravo_daq_getdata cursor;
  const int channels = cursor.SetRes(results.result());
  if (channels < 0) return;
  for (int i = 0; i < channels; ++i) {
    if (cursor.SetChan(i) < 0) continue;
    ask_everything(cursor);
  }
  for (int i = 0; i < channels; ++i) {
    static_cast<void>(cursor.SetFast(i));
    static_cast<void>(cursor.SetSlow(i));
    static_cast<void>(cursor.SetImage(i));
  }
  static_cast<void>(cursor.SetChan(0));
  for (int i = 0; i < channels; ++i) {
    static_cast<void>(cursor.SetNextChan());
    static_cast<void>(cursor.SetFastNext());
    static_cast<void>(cursor.SetSlowNext());
    static_cast<void>(cursor.SetImageNext());
  }
  static_cast<void>(cursor.SetProp(name.c_str()));
  float value = 0;
  float* array = nullptr;
  static_cast<void>(cursor.GetDataPtrs(name.c_str(), &value, &array, 0));
  cursor.Clean();
  static_cast<void>(cursor.SetNextChan());
}

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  be_quiet();
  input from(data, size);
  const bool is_current = from.flag();
  const std::string name = from.text();
  event results;
  for (int i = 0; i < most_channels && !from.empty(); ++i)
    is_current ? results.add<current>(from) : results.add<older>(from);
  use(results, name);
  return 0;
}
