// Damage in the heads of events and server blocks, in the event index, and in the sequence of events.
#include <algorithm>
#include <set>

#include "faults/choice.h"

namespace ravo::simulator {
namespace {

using findings = std::vector<expected_finding>;

constexpr std::uint32_t plain_frame = 13, extended_frame = 27;  // data types

// An event in the middle of those with beam.
struct chosen_event {
  std::uint32_t indexed;  ///< where it stands in the index
  std::uint32_t header;
  std::uint32_t number;
};

chosen_event event_at(const raw_image& image, std::uint32_t indexed) {
  const std::uint32_t header = image.word(indexed + indexed_header);
  return {indexed, header, number_of(image, header)};
}
chosen_event choose_event(raw_image& image) {
  const image_type& type = beam_events(image);
  return event_at(image, type.events[middle(type.events)]);
}

// The heads of the event's server blocks that carry data.
std::set<std::uint32_t> servers_of(const raw_image& image, std::uint32_t header) {
  std::set<std::uint32_t> servers;
  for (const image_channel& channel : image.channels)
    for (const image_entry& entry : channel.events)
      if (entry.event == header) servers.insert(entry.server);
  return servers;
}

std::uint32_t first_server(const raw_image& image, const chosen_event& event) {
  return *servers_of(image, event.header).begin();
}

std::int64_t time_at(const raw_image& image, std::uint32_t at) {
  return std::int64_t{1'000'000} * image.word(at) + image.word(at + 4);
}
void put_time(raw_image& image, std::uint32_t at, std::int64_t microseconds) {
  image.put(at, static_cast<std::uint32_t>(microseconds / 1'000'000));
  image.put(at + 4, static_cast<std::uint32_t>(microseconds % 1'000'000));
}

// Gives an event another number; its servers have it too.
void renumber(raw_image& image, const chosen_event& event, std::uint32_t number) {
  const std::int64_t more = std::int64_t{number} - std::int64_t{event.number};
  image.put(event.header + header_number, number);
  image.put(event.indexed + indexed_number, number);
  for (const std::uint32_t server : servers_of(image, event.header)) image.add(server + server_pulse, more);
}

findings marker(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.add(event.header, 1);
  return {{"event.marker", "", event.number, event.header}};
}

findings index_time(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.add(event.indexed + indexed_time + 4, 1);
  return {{"index.event", "", event.number, event.indexed}};
}

findings header_other_number(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.add(event.header + header_number, 1000);
  return {{"index.event", "", event.number, event.indexed}};
}

findings index_offset(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.add(event.indexed + indexed_header, 4);
  return {{"index.event", "", event.number, event.indexed},
          {"index.missing", "", event.number, event.header}};
}

findings index_limits(raw_image& image) {
  const image_type& type = beam_events(image);
  image.add(type.at + 24, 1);
  return {{"index.limits", "", {}, type.at}};
}

// Writes the same moment with one second less and a million microseconds more.
void split_second(raw_image& image, std::uint32_t time) {
  image.add(time, -1);
  image.add(time + 4, 1'000'000);
}

findings too_many_microseconds(raw_image& image) {
  const chosen_event event = choose_event(image);
  for (const std::uint32_t at : {event.header + header_time, event.indexed + indexed_time})
    split_second(image, at);
  return {{"event.time", "", event.number, event.header}};
}

findings server_microseconds(raw_image& image) {
  const chosen_event event = choose_event(image);
  const std::uint32_t server = first_server(image, event);
  split_second(image, server + server_time);
  return {{"server.time", "", event.number, server}};
}

// The first event of a type: without a time it is before all others.
findings no_time(raw_image& image) {
  const image_type& type = beam_events(image);
  const chosen_event event = event_at(image, type.events.front());
  put_time(image, event.header + header_time, 0);
  put_time(image, event.indexed + indexed_time, 0);
  put_time(image, type.at + 4, 0);
  for (const std::uint32_t server : servers_of(image, event.header))
    put_time(image, server + server_time, 0);
  return {{"event.no_time", "", event.number, event.header}};
}

findings misspelt_server(raw_image& image) {
  const chosen_event event = choose_event(image);
  const std::uint32_t name = first_server(image, event) + server_name;
  image.bytes.at(name) = 0xff;
  return {{"text.encoding", "", event.number, name}};
}

findings servers_more(raw_image& image) {
  image.add(choose_event(image).header + header_servers, 1);
  return {{"event.servers", "", {}, image.server_blocks}};
}

findings servers_negative(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.put(event.header + header_servers, 0xffffffff);
  return {{"event.servers", "", event.number, event.header}};
}

findings length_event(raw_image& image) {
  const chosen_event event = choose_event(image);
  image.add(event.header + header_length, 4);
  return {{"event.length", "", event.number, event.header}};
}

findings length_server(raw_image& image) {
  const chosen_event event = choose_event(image);
  const std::uint32_t server = first_server(image, event);
  image.add(server + server_length, 4);
  return {{"server.length", "", event.number, server}};
}

findings server_channels(raw_image& image) {
  const chosen_event event = choose_event(image);
  const std::uint32_t server = first_server(image, event);
  image.add(server + image.layout.server_head - 4, 1);
  return {{"server.channels", "", event.number, server}};
}

findings server_endless_name(raw_image& image) {
  const chosen_event event = choose_event(image);
  const std::uint32_t name = first_server(image, event) + server_name;
  std::fill_n(image.bytes.begin() + name, image.layout.server_name, static_cast<unsigned char>('x'));
  return {{"server.name", "", event.number, name}};
}

// ---- the sequence of events -----------------------------------------------------------------------

findings time_back(raw_image& image) {
  const image_type& type = beam_events(image);
  const std::size_t i = middle(type.events);
  const chosen_event event = event_at(image, type.events[i]);
  const std::int64_t before = time_at(image, type.events[i - 1] + indexed_time);
  const std::int64_t less = time_at(image, event.indexed + indexed_time) - (before - 1000);
  put_time(image, event.header + header_time, before - 1000);
  put_time(image, event.indexed + indexed_time, before - 1000);
  // The servers have the same clock.
  for (const std::uint32_t server : servers_of(image, event.header))
    put_time(image, server + server_time, time_at(image, server + server_time) - less);
  return {{"event.time_back", "", event.number, event.indexed}};
}

findings number_back(raw_image& image) {
  constexpr std::uint32_t less = 5000;
  const image_type& type = beam_events(image);
  const std::size_t first = type.events.size() * 6 / 10;
  for (std::size_t i = first; i < type.events.size(); ++i) {
    const chosen_event event = event_at(image, type.events[i]);
    renumber(image, event, event.number - less);
  }
  image.add(type.at + 24, -std::int64_t{less});
  return {{"event.number_back", "", image.word(type.events[first] + indexed_number), type.events[first]}};
}

// The event before is counted twice, so that this event's own number is missing.
findings duplicate_event(raw_image& image) {
  const image_type& type = beam_events(image);
  const std::size_t i = middle(type.events);
  const chosen_event event = event_at(image, type.events[i]);
  renumber(image, event, event.number - 1);
  return {{"event.duplicate", "", event.number - 1, event.indexed},
          {"event.missing", "", event.number, type.events[i + 1]}};
}

// From an event on, a server delivers the data of the event before: all its channels are shifted.
findings shifted_channel(raw_image& image) {
  const image_channel& channel = choose_channel(image, stored::anyhow, spectrum_types, 10);
  const std::size_t first = channel.events.size() * 6 / 10;
  std::set<std::uint32_t> shifted;
  for (std::size_t i = channel.events.size(); i-- > first;) {
    const std::uint32_t server = channel.events[i].server, before = channel.events[i - 1].server;
    put_time(image, server + server_time, time_at(image, before + server_time));
    image.put(server + server_pulse, image.word(before + server_pulse));
    shifted.insert(server);
  }
  findings expected;
  for (const image_channel& one : image.channels) {
    expected_finding line{"channel.shifted", one.name, {}, {}, 0};
    for (const image_entry& entry : one.events)
      if (shifted.contains(entry.server) && ++line.count == 1) {
        line.event = number_of(image, entry.event);
        line.offset = entry.block;
      }
    if (line.count > 0) expected.push_back(line);
  }
  return expected;
}

const image_channel& choose_camera(raw_image& image) {
  return choose_channel(image, stored::plain, {plain_frame, extended_frame}, 10);
}

// The offset of the event number in a frame.
std::uint32_t number_of_frame(const raw_image& image, const image_entry& entry) {
  return entry.data + (image.word(image.data_type(entry)) == plain_frame ? 20 : 52);
}

// A camera's frames bear the number of the event before.
findings shifted_frames(raw_image& image) {
  const image_channel& channel = choose_camera(image);
  const std::size_t first = channel.events.size() * 6 / 10;
  for (std::size_t i = first; i < channel.events.size(); ++i)
    image.add(number_of_frame(image, channel.events[i]), -1);
  return {{"channel.shifted", channel.name, number_of(image, channel.events[first].event),
           channel.events[first].block, channel.events.size() - first}};
}

// A camera whose every second frame has a number that is too small by one.
findings half_shifted_frames(raw_image& image) {
  const image_channel& channel = choose_camera(image);
  for (std::size_t i = 1; i < channel.events.size(); i += 2)
    image.add(number_of_frame(image, channel.events[i]), -1);
  return {{"channel.shifted", channel.name, number_of(image, channel.events[1].event),
           channel.events[1].block, channel.events.size() / 2}};
}

// From an event on a camera delivers the same picture, with numbers that go on.
findings frozen_camera(raw_image& image) {
  const image_channel& channel = choose_camera(image);
  const std::size_t last = middle(channel.events);
  const image_entry& seen = channel.events[last];
  const bool is_plain = image.word(image.data_type(seen)) == plain_frame;
  const std::uint32_t head = is_plain ? 28 : 100;
  const std::uint32_t end = seen.block + image.word(image.length(seen));
  for (std::size_t i = last + 1; i < channel.events.size(); ++i)
    std::copy(image.bytes.begin() + seen.data + head, image.bytes.begin() + end,
              image.bytes.begin() + channel.events[i].data + head);
  const image_entry& first = channel.events[last + 1];
  return {{"channel.frozen", channel.name, number_of(image, first.event), first.block,
           channel.events.size() - last - 1}};
}

// The blocks themselves have changed places; nothing points elsewhere than before.
findings swapped_frames(raw_image& image) {
  const image_channel& channel = choose_camera(image);
  const image_entry &one = channel.events[2], &other = channel.events[middle(channel.events)];
  const std::uint32_t length = image.word(image.length(one));
  if (length != image.word(image.length(other)))
    throw simulation_failed("the camera's frames differ in length");
  const auto begin = image.bytes.begin();
  std::swap_ranges(begin + one.block, begin + one.block + length, begin + other.block);
  return {{"channel.shifted", channel.name, number_of(image, one.event), one.block, 2}};
}

constexpr fault_kind kinds[] = {
    {"marker-event", "wrong marker: an event header", marker},
    {"index-time", "the index has another time for an event than its header", index_time},
    {"header-number", "an event header has another number than the index", header_other_number},
    {"index-offset", "the index does not lead to an event's header", index_offset},
    {"index-limits", "the index says a wrong last event", index_limits},
    {"too-many-microseconds", "an event's time has more than a million microseconds",
     too_many_microseconds},
    {"server-microseconds", "a server's time has more than a million microseconds", server_microseconds},
    {"no-time", "the first event of a type has no time", no_time},
    {"misspelt-server", "a server's name is not UTF-8", misspelt_server},
    {"servers-more", "an event counts a server block too many", servers_more},
    {"servers-negative", "an event counts less than no server blocks", servers_negative},
    {"length-event", "wrong length: an event header", length_event},
    {"length-server", "wrong length: a server block", length_server},
    {"server-channels", "a server block counts a channel too many", server_channels},
    {"server-endless-name", "a server's name has no end", server_endless_name},
    {"time-back", "an event is earlier than the one before it", time_back},
    {"number-back", "the event counter jumps back", number_back},
    {"duplicate-event", "an event has the number of the one before it", duplicate_event},
    {"missing-event", "an event was not taken", nullptr},
    {"missing-file", "a file is not there; what follows it tells", nullptr},
    {"shifted-channel", "a server delivers what belongs to the event before", shifted_channel},
    {"shifted-frames", "a camera's frames bear the number of the event before", shifted_frames},
    {"half-shifted-frames", "every second frame of a camera bears the number of the event before",
     half_shifted_frames},
    {"frozen-camera", "a camera delivers the same picture from an event on", frozen_camera},
    {"swapped-frames", "two frames of a camera have changed places", swapped_frames},
    {"absent-channel", "a channel has no data in all runs; found with --expect", nullptr},
};

}  // namespace

std::span<const fault_kind> event_faults() { return kinds; }

}  // namespace ravo::simulator
