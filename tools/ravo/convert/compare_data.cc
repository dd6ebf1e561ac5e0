// Compares the data of one block before and after conversion.
#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>

#include "convert/compare_files.h"
#include "format/payload_view.h"

namespace ravo::tool {
namespace {

using bytes = std::span<const unsigned char>;
using difference = std::optional<std::string>;

template <class Record>
std::optional<Record> record_of(bytes data) {
  if (data.size() < sizeof(Record)) return std::nullopt;
  Record record;
  std::memcpy(&record, data.data(), sizeof record);
  return record;
}

// NaNs may be stored in several ways: every bit counts.
std::uint32_t bits_of(float value) { return std::bit_cast<std::uint32_t>(value); }

difference differ(const std::string& what, float before, float after) {
  if (bits_of(before) == bits_of(after)) return std::nullopt;
  if (before == after || before != before)
    return fmt::format("{}: {:#010x} before, {:#010x} after", what, bits_of(before), bits_of(after));
  return fmt::format("{}: {:.9g} before, {:.9g} after", what, before, after);
}

template <class Number>
difference differ_in(const char* what, Number before, Number after) {
  if (before == after) return std::nullopt;
  return fmt::format("{}: {} before, {} after", what, before, after);
}

std::string name_of_value(const data_type& type, std::size_t index, std::size_t members,
                          std::size_t samples) {
  const auto member_name = [&type](std::size_t member) {
    return member < static_cast<std::size_t>(type.members) ? std::string(type.member_names[member])
                                                           : std::to_string(member);
  };
  if (index < members) return "the mean of member " + member_name(index);
  return fmt::format("member {}, sample {}", member_name((index - members) / samples),
                     (index - members) % samples);
}

difference compare_heads(const ravo_spect_head& before, const ravo_spect_head_2010& after) {
  difference found = differ_in("members", before.members, after.members);
  if (!found) found = differ_in("samples", before.samples, after.samples);
  if (!found) found = differ_in("groups", 1, after.groups);
  if (!found) found = differ("start", before.start, after.start);
  if (!found) found = differ("inc", before.inc, after.inc);
  if (!found) found = differ("groups_inc", 0, after.groups_inc);
  if (!found) found = differ_in("flags", RAVO_SPECT_HAS_MEANS, after.flags);
  return found;
}

std::optional<spectrum_parts> parse_spectrum(const data_type& type, bytes data) {
  const parsed_payload payload = parse_payload(type, byte_view(data.data(), data.size(), word_order::host));
  const auto* spectrum = payload.get<spectrum_parts>();
  return spectrum != nullptr ? std::optional(*spectrum) : std::nullopt;
}

difference compare_spectra(const data_type& type, bytes before, const data_type& current_type,
                           bytes after) {
  const auto older = parse_spectrum(type, before), current = parse_spectrum(current_type, after);
  if (!older || !current) return "a spectrum is not what its type says";
  if (auto found =
          compare_heads(*record_of<ravo_spect_head>(before), *record_of<ravo_spect_head_2010>(after)))
    return found;
  // Means and values are consecutive in both.
  const bytes values = before.subspan(older->head_size), copies = after.subspan(current->head_size);
  if (auto found = differ_in("bytes of means and values", values.size(), copies.size())) return found;
  for (std::size_t at = 0; at + sizeof(float) <= values.size(); at += sizeof(float)) {
    const float value = *record_of<float>(values.subspan(at)), copy = *record_of<float>(copies.subspan(at));
    if (bits_of(value) != bits_of(copy))
      return differ(
          name_of_value(type, at / sizeof(float), older->members, std::max<std::size_t>(older->samples, 1)),
          value, copy);
  }
  return std::nullopt;
}

difference compare_updates(bytes before, bytes after) {
  const auto older = record_of<ravo_upd_data_block>(before);
  const auto current = record_of<ravo_upd_data_block_2010>(after);
  if (!older || !current) return "an update is too short";
  if (std::strncmp(older->upd_prop, current->upd_prop, sizeof older->upd_prop) != 0)
    return fmt::format("property: {:.{}} before, {:.{}} after", older->upd_prop, sizeof older->upd_prop - 1,
                       current->upd_prop, sizeof current->upd_prop - 1);
  difference found = differ_in("status", older->upd_ch_status, current->upd_ch_status);
  if (!found) found = differ_in("seconds", older->upd_ch_time.timeup, current->upd_ch_time.timeup);
  if (!found) found = differ_in("microseconds", older->upd_ch_time.timelow, current->upd_ch_time.timelow);
  if (!found) found = differ("value", older->upd_ch_data, current->upd_ch_data);
  return found;
}

difference compare_bytes(bytes before, bytes after) {
  if (auto found = differ_in("bytes of data", before.size(), after.size())) return found;
  const auto [one, other] = std::mismatch(before.begin(), before.end(), after.begin());
  if (one == before.end()) return std::nullopt;
  return fmt::format("byte {} of its data: {:#04x} before, {:#04x} after", one - before.begin(), *one,
                     *other);
}

}  // namespace

difference first_data_difference(const data_type& older, bytes before, const data_type& current,
                                 bytes after) {
  using enum payload_shape;
  if (older.shape == spectrum_older && current.shape == spectrum)
    return compare_spectra(older, before, current, after);
  if (older.shape == update_older && current.shape == update) return compare_updates(before, after);
  return compare_bytes(before, after);
}

}  // namespace ravo::tool
