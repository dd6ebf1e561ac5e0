// The texts that request channels: "NAME" or "NAME:subchannel", either followed by ";nickname".
// Works on texts only and knows no channels.
#ifndef RAVO_DAQ_READER_CHANNEL_NAME_H
#define RAVO_DAQ_READER_CHANNEL_NAME_H

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

struct ravo_daq_chan_param;

namespace ravo {

/// The subchannel of a request that does not name a subchannel.
inline constexpr int whole_channel = -1;

/// The decimal number at the start of a text, limited to an int; 0 if there is no number.
inline int leading_number(const char* text) {
  const long number = std::strtol(text, nullptr, 10);
  return static_cast<int>(std::clamp<long>(number, INT_MIN, INT_MAX));
}

/// Copies a text into a field, truncated so that a terminating zero fits; zeros fill the rest of the field.
template <std::size_t size>
void fill_field(char (&field)[size], std::string_view text) {
  const std::size_t kept = std::min(text.size(), size - 1);
  std::memmove(field, text.data(), kept);
  std::memset(field + kept, 0, size - kept);
}

/// Room for the request text of a channel, in every generation; a longer text is not read further.
inline constexpr std::size_t request_text_size = 256;

/// Splits a request text into name, subchannel and nickname of the (zeroed) parameters of a channel. Each
/// part is cut to its field.
template <class ChanParam>
void split_channel_name(const char* text, ChanParam& channel) {
  char copy[request_text_size] = {};
  fill_field(copy, text);
  channel.subchan = whole_channel;
  if (char* nickname = std::strchr(copy, ';')) {
    *nickname = '\0';
    fill_field(channel.nname, nickname + 1);
  }
  if (char* number = std::strchr(copy, ':')) {
    *number = '\0';
    channel.subchan = leading_number(number + 1);
  }
  fill_field(channel.name, copy);
}

/// Room for a key: the name, a colon, a sign and ten digits. Keys of the older generation are truncated to
/// the size of a name.
template <class ChanParam>
inline constexpr std::size_t key_size = sizeof ChanParam::name + 16;
template <>
inline constexpr std::size_t key_size<ravo_daq_chan_param> = 80;

/// A text that identifies a channel.
template <class ChanParam>
class channel_text {
 public:
  const char* text() const { return text_; }
  bool is(const char* other) const { return std::strcmp(text_, other) == 0; }

  static channel_text bare(const ChanParam& channel) {
    channel_text made;
    std::snprintf(made.text_, sizeof made.text_, "%s", channel.name);
    return made;
  }
  static channel_text with_subchannel(const ChanParam& channel) {
    char whole[sizeof channel.name + 16];
    std::snprintf(whole, sizeof whole, "%s:%d", channel.name, channel.subchan);
    channel_text made;
    fill_field(made.text_, whole);
    return made;
  }

 private:
  char text_[key_size<ChanParam>];
};

/// The key of a channel, which its blocks carry too: "NAME:subchannel", or the bare name if the
/// subchannel is negative.
template <class ChanParam>
channel_text<ChanParam> channel_key(const ChanParam& channel) {
  using text = channel_text<ChanParam>;
  return channel.subchan < 0 ? text::bare(channel) : text::with_subchannel(channel);
}

/// The text that requests a nickname: like the key, but only a subchannel of -1 is omitted.
template <class ChanParam>
channel_text<ChanParam> nickname_key(const ChanParam& channel) {
  using text = channel_text<ChanParam>;
  return channel.subchan == whole_channel ? text::bare(channel) : text::with_subchannel(channel);
}

}  // namespace ravo

#endif
