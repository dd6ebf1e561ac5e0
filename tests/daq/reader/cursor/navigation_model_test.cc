// Navigation against a model: random events of channels of both generations, some of them broken, and
// random walks over them. The model knows how each channel was made and follows the rules entry by entry;
// it reads no block.
#include <gtest/gtest.h>

#include <iostream>
#include <random>

#include "handmade_event.h"
#include "ravo_daq_data.h"

namespace ravo::test {
namespace {

enum class flaw { none, no_entry, no_event, no_server, no_channel };

struct made_channel {
  bool current;
  RAVO_EVTYPE event_type;
  int type;
  int property_class;
  std::string name;      // in the channel header
  std::string property;  // in front of an update; else empty
  std::string front;     // the data up to their first zero
  unsigned number;
  unsigned seconds;
  flaw broken;
};

constexpr int fast_event = 1, slow_event = 2, unknown_event = 0;
int structure_of(RAVO_EVTYPE type) {
  if (type == RAVO_EV_UPD) return slow_event;
  return type == RAVO_EV_NORMAL || type == RAVO_EV_IMAGE || type == RAVO_EV_TOROID_ML ? fast_event
                                                                                      : unknown_event;
}
bool is_image(const made_channel& channel) { return channel.property_class == 4; }

// The rules of the cursor.
class model {
 public:
  explicit model(std::vector<made_channel> channels) : channels_(std::move(channels)) {}

  int index = 0, status = 0, property_class = 0, channel_type = 0;
  int fast = 0, slow = 0, images = 0;
  int selected = -1;  // the last entry whose selection succeeded

  int set_res() {
    index = 0;
    if (const int code = set_head(); code < 0) return code;
    for (const made_channel& channel : channels_) {
      if (channel.broken == flaw::no_entry || channel.broken == flaw::no_event) continue;
      const int structure = structure_of(channel.event_type);
      // Types are read in the first entry's layout: those of the other generation count as no type.
      const bool seen_as_image = channel.broken != flaw::no_channel && is_image(channel) &&
                                 channel.current == channels_[0].current;
      if (structure == slow_event) ++slow;
      if (structure == fast_event) ++(seen_as_image ? images : fast);
    }
    return size();
  }
  void clean() {
    index = status = property_class = channel_type = fast = slow = images = 0;
    current_ = true;
    selected = -1;
  }

  int set_head() {
    const made_channel& channel = channels_.at(static_cast<std::size_t>(index));
    if (channel.broken == flaw::no_entry) return -1;
    if (channel.broken == flaw::no_event) return has_event_ = false, -2;
    has_event_ = true;
    current_ = channel.current;
    if (channel.broken == flaw::no_server) return -3;
    if (channel.broken == flaw::no_channel) return -4;
    if (const int structure = structure_of(channel.event_type); structure != unknown_event)
      channel_type = structure;
    property_class = channel.property_class;
    status = 1;
    selected = index;
    return 0;
  }
  int set_chan(int i) {
    if (status != 1) return -1;
    return i < 0 || i >= size() ? 0 : go(i);
  }
  int set_next() {
    if (status != 1) return -1;
    return index + 1 >= size() ? 0 : go(index + 1);
  }
  bool is(char kind) const {
    if (kind == 's') return channel_type == slow_event;
    return channel_type == fast_event && (property_class == 4) == (kind == 'i');
  }
  int set_next_of(char kind) {
    if (status != 1) return -1;
    while (index + 1 < size()) {
      const int code = go(index + 1);
      if (code < 0 || is(kind)) return code;
    }
    return 0;
  }
  int set_nth_of(char kind, int n) {
    if (status != 1) return -1;
    if (n < 0 || n >= (kind == 's' ? slow : kind == 'i' ? images : fast)) return 0;
    int code = go(0);
    if (code < 0) return code;
    int found = is(kind) ? 1 : 0;
    if (found == 1 && n == 0) return code;
    while ((code = set_next_of(kind)) > 0 && found++ != n) {
    }
    return code < 1 ? 0 : code;
  }
  int set_prop(const std::string& name) {
    if (status != 1) return -10;
    for (int i = 0; i < size(); ++i) {
      const made_channel& channel = channels_[static_cast<std::size_t>(i)];
      if (channel.broken == flaw::no_entry || channel.broken == flaw::no_channel) continue;
      const bool by_property = !channel.property.empty() && channel.current == current_;
      if (name == (by_property ? channel.property : channel.name)) return go(i);
    }
    return -11;
  }
  // The code and, of a success, the number and the seconds.
  std::pair<int, std::pair<unsigned, unsigned>> get_event_info() {
    if (status != 1 || !has_event_) return {-1, {}};
    const int before = index;
    const made_channel* chosen = nullptr;
    unsigned last_slow = 0;
    for (index = 0; index < size(); ++index) {
      if (const int code = set_head(); code != 0) return {code, {}};
      const made_channel& channel = channels_[static_cast<std::size_t>(index)];
      const bool only_timed = last_slow == 0 && channel.number == 0 && channel.seconds != 0;
      if (channel.number <= last_slow && !only_timed) continue;
      chosen = &channel;
      if (channel.event_type != RAVO_EV_UPD) break;
      last_slow = channel.number;
    }
    index = before;
    set_head();
    if (!chosen) return {-1, {}};
    return {0, {chosen->number, chosen->seconds}};
  }
  std::string name() const {
    const made_channel& channel = channels_[static_cast<std::size_t>(selected)];
    return channel_type == slow_event ? channel.front : channel.name;
  }

 private:
  int size() const { return static_cast<int>(channels_.size()); }
  int go(int i) {
    index = i;
    const int code = set_head();
    return code < 0 ? code : property_class;
  }
  std::vector<made_channel> channels_;
  bool current_ = true;
  bool has_event_ = false;
};

class random_event {
 public:
  random_event(std::mt19937& numbers, bool with_flaws) : numbers_(numbers) {
    const int size = pick(1, 8);
    for (int i = 0; i < size; ++i) {
      channels.push_back(make(with_flaws && pick(0, 5) == 0));
      pick(0, 1) == 0 ? add<older_event>(channels.back()) : add<current_event>(channels.back());
    }
  }

  std::vector<made_channel> channels;
  std::vector<ravo_channel_entry_long*> result;

 private:
  int pick(int least, int most) { return std::uniform_int_distribution<int>(least, most)(numbers_); }

  made_channel make(bool broken) {
    made_channel channel{};
    channel.name = "N" + std::to_string(pick(0, 4));
    channel.number = static_cast<unsigned>(pick(0, 3));
    channel.seconds = static_cast<unsigned>(pick(0, 1));
    if (broken) channel.broken = static_cast<flaw>(pick(1, 4));
    return channel;
  }

  template <class generation>
  void add(made_channel& channel) {
    channel.current = generation::is_current;
    std::string payload;
    switch (pick(0, 6)) {
      case 0:
        channel.event_type = RAVO_EV_UPD;
        channel.type = generation::update_type;
        channel.property_class = 2;
        channel.property = "N" + std::to_string(pick(0, 4));
        payload = update_payload<generation>(channel.property, 1);
        break;
      case 1:
        channel.event_type = RAVO_EV_IMAGE;
        channel.type = pick(0, 1) == 0 ? RAVO_BLOCK_IMAGE : RAVO_BLOCK_IMAGE_EXT;
        channel.property_class = 4;
        payload = std::string(100, '\0');
        break;
      case 5:
        channel.event_type = RAVO_EV_UPD;
        channel.type = RAVO_BLOCK_IMAGE;
        channel.property_class = 4;
        payload = std::string(100, '\0');
        break;
      case 2:
        channel.event_type = RAVO_EV_NORMAL;
        channel.type = RAVO_BLOCK_NAME_VALUE_STRING;
        channel.property_class = 1;
        payload = std::string("text\0", 5);
        break;
      case 3:
        channel.event_type = static_cast<RAVO_EVTYPE>(99);
        channel.type = RAVO_BLOCK_NAME_VALUE;
        channel.property_class = 2;
        payload = bytes_of(ravo_name_value_block{1, "", 0});
        break;
      case 4:
        channel.event_type = RAVO_EV_TOROID_ML;
        channel.type = 35;
        channel.property_class = generation::is_current ? 2 : 3;
        payload = std::string(20, '\0');
        break;
      default:
        channel.event_type = RAVO_EV_NORMAL;
        channel.type = generation::spectrum_type;
        channel.property_class = 3;
        payload = two_spectra<generation>();
    }
    channel.front = payload.c_str();
    const std::size_t i = event_.add<generation>(channel.name, channel.type, payload, channel.event_type);
    event_.header(i).event_number = channel.number;
    event_.header(i).event_time.timeup = channel.seconds;
    ravo_event_chan_ptr_long_entry& at = event_.addresses(i);
    if (channel.broken == flaw::no_event) at.evhd = 0;
    if (channel.broken == flaw::no_server) at.sbhd = 0;
    if (channel.broken == flaw::no_channel) at.chhd = at.data = 0;
    result.push_back(channel.broken == flaw::no_entry ? nullptr : (*event_.result())[i]);
  }

  std::mt19937& numbers_;
  handmade_event event_;
};

void walk(std::mt19937& numbers, bool with_flaws) {
  random_event event(numbers, with_flaws);
  const auto pick = [&](int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(numbers);
  };
  ravo_daq_getdata cursor;
  model expected(event.channels);
  ASSERT_EQ(cursor.SetRes(&event.result), expected.set_res());
  const int size = static_cast<int>(event.channels.size());
  std::string trace;
  for (int step = 0; step < 40; ++step) {
    const int operation = pick(0, 11), n = pick(-1, size + 1);
    const std::string name = "N" + std::to_string(n);
    trace += " " + std::to_string(operation) + "(" + std::to_string(n) + ")";
    SCOPED_TRACE(trace);
    switch (operation) {
      case 0:
        ASSERT_EQ(cursor.SetNextChan(), expected.set_next());
        break;
      case 1:
      case 2:
        ASSERT_EQ(cursor.SetChan(n), expected.set_chan(n));
        break;
      case 3:
        ASSERT_EQ(cursor.SetFastNext(), expected.set_next_of('f'));
        break;
      case 4:
        ASSERT_EQ(cursor.SetSlowNext(), expected.set_next_of('s'));
        break;
      case 5:
        ASSERT_EQ(cursor.SetImageNext(), expected.set_next_of('i'));
        break;
      case 6:
        ASSERT_EQ(cursor.SetFast(n), expected.set_nth_of('f', n));
        break;
      case 7:
        ASSERT_EQ(cursor.SetSlow(n), expected.set_nth_of('s', n));
        break;
      case 8:
        ASSERT_EQ(cursor.SetImage(n), expected.set_nth_of('i', n));
        break;
      case 9:
        ASSERT_EQ(cursor.SetProp(name.c_str()), expected.set_prop(name));
        break;
      case 10: {
        std::pair<unsigned, unsigned> got{};
        const int code =
            cursor.GetEventInfo(&got.first, nullptr, nullptr, &got.second, nullptr, nullptr, nullptr);
        const auto wanted = expected.get_event_info();
        ASSERT_EQ(code, wanted.first);
        ASSERT_EQ(got, wanted.second);
        break;
      }
      default:
        if (n < 1) {
          cursor.Clean();
          expected.clean();
        }
        ASSERT_EQ(cursor.SetRes(&event.result), expected.set_res());
    }
    ASSERT_EQ(cursor.GetChanNumb(), expected.index);
    ASSERT_EQ(cursor.GetPropType(), expected.property_class);
    ASSERT_EQ(cursor.GetChanType(), expected.channel_type);
    ASSERT_EQ(cursor.Get_NFast(), expected.fast);
    ASSERT_EQ(cursor.Get_NSlow(), expected.slow);
    ASSERT_EQ(cursor.Get_NImage(), expected.images);
    if (expected.selected >= 0) {
      ASSERT_EQ(cursor.GetPropName(), expected.name());
    }
  }
}

// The message of a failure goes to standard output, which the walks fill with the cursor's complaints.
void walk_many(unsigned seed, int events, bool with_flaws) {
  std::mt19937 numbers(seed);
  const said heard = listen([&] {
    for (int i = 0; i < events && !testing::Test::HasFatalFailure(); ++i) walk(numbers, with_flaws);
  });
  if (testing::Test::HasFatalFailure()) std::cout << heard.out;
}

TEST(NavigationModel, AgreesOverWholeEventsOfBothGenerations) { walk_many(20261121, 500, false); }

TEST(NavigationModel, AgreesOverEventsWithBrokenChannels) { walk_many(1930, 1000, true); }

}  // namespace
}  // namespace ravo::test
