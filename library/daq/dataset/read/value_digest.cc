// The digest of values from events and from columns, and the canonical form of a value.
#include "ravo_dataset/value_digest.h"

#include <algorithm>
#include <cstring>

#include "format/payload_view.h"
#include "read/canonical_value.h"
#include "read/column_access.h"
#include "read/fold_hash.h"
#include "read/record_names.h"

namespace ravo::detail {
namespace {

constexpr std::uint32_t one_nan = 0x7fc00000;

/// There are many NaNs, and not every format and machine keeps them apart.
std::uint32_t with_one_nan(std::uint32_t bits) { return (bits & 0x7fffffff) > 0x7f800000 ? one_nan : bits; }

void make_nans_alike(std::span<std::byte> floats) {
  for (std::size_t at = 0; at + sizeof(std::uint32_t) <= floats.size(); at += sizeof(std::uint32_t)) {
    std::uint32_t bits;
    std::memcpy(&bits, floats.data() + at, sizeof bits);
    bits = with_one_nan(bits);
    std::memcpy(floats.data() + at, &bits, sizeof bits);
  }
}

digest_type digest_type_of(element_type type) {
  switch (type) {
    case element_type::float32:
      return digest_type::float32;
    case element_type::uint8:
      return digest_type::uint8;
    case element_type::uint16:
      return digest_type::uint16;
    case element_type::uint32:
      return digest_type::uint32;
  }
  return digest_type::float32;
}

std::vector<named_number> records_of(const item& list, const byte_view& payload) {
  const name_value_parts places{.records = list.at};
  std::vector<named_number> records;
  records.reserve(list.elements);
  for (std::size_t i = 0; i < list.elements; ++i)
    records.push_back(
        {record_name(list, payload, i), *payload.at<float>(places.value(list.first_record + i))});
  return records;
}

}  // namespace

void digest_access::add(value_digest& to, const ravo_time_id& event, digest_type type,
                        std::span<const std::uint64_t> sizes, std::span<const std::byte> bytes) {
  std::vector<std::uint64_t> head{static_cast<std::uint64_t>(type)};
  head.insert(head.end(), sizes.begin(), sizes.end());
  const std::uint64_t state = hash(std::as_bytes(std::span(head)), hash(event, value_status::ok));
  to.sums_.add_hash(hash(bytes, state));
}

void digest_access::add(value_digest& to, const ravo_time_id& event, element_type type,
                        const std::vector<dimension_size>& dimensions, std::span<std::byte> elements) {
  if (type == element_type::float32) make_nans_alike(elements);
  std::vector<std::uint64_t> sizes;
  for (const dimension_size& dimension : dimensions) sizes.push_back(dimension.size);
  add(to, event, digest_type_of(type), sizes, elements);
}

/// By name, and those of one name in the order of the list; each as its name, a zero and its number.
void digest_access::add(value_digest& to, const ravo_time_id& event, std::vector<named_number> records,
                        const room_for_bytes& room) {
  std::stable_sort(records.begin(), records.end(),
                   [](const named_number& a, const named_number& b) { return a.name < b.name; });
  std::size_t size = 0;
  for (const named_number& record : records) size += record.name.size() + 1 + sizeof record.number;
  std::byte* const bytes = room(size);
  std::byte* at = bytes;
  for (const named_number& record : records) {
    std::memcpy(at, record.name.data(), record.name.size());
    at += record.name.size();
    *at++ = std::byte{0};
    std::uint32_t bits;
    std::memcpy(&bits, &record.number, sizeof bits);
    bits = with_one_nan(bits);
    std::memcpy(at, &bits, sizeof bits);
    at += sizeof bits;
  }
  const std::uint64_t count[] = {records.size()};
  add(to, event, digest_type::records, count, {bytes, size});
}

void digest_access::add(value_digest& to, const ravo_time_id& event, value_status status) {
  to.sums_.add_hash(hash({}, hash(event, status)));
}

void digest_access::add(value_digest& to, const ravo_time_id& event, const item& value,
                        const byte_view& payload, word_order order, const room_for_bytes& room) {
  if (value.kind == value_kind::name_value) return add(to, event, records_of(value, payload), room);
  const std::size_t size = value.elements * element_size(value.element);
  std::byte* const bytes = room(size);
  // The bytes of pixels are never turned round.
  if (order == word_order::file || value.kind == value_kind::image)
    store_item(value, payload, bytes);
  else if (size != 0)
    std::memcpy(bytes, payload.data() + value.at, size);
  add(to, event, value.element, dimensions_of(value.kind, value.shape), {bytes, size});
}

}  // namespace ravo::detail

namespace ravo {

using detail::digest_access;

void value_digest::add(const ravo_time_id& event, const value& one) {
  if (one.is_held() || one.status() == value_status::not_recorded) return;
  if (is_missing(one.status())) return digest_access::add(*this, event, one.status());
  const byte_view bytes(one.bytes().data(), one.bytes().size(), word_order::host);
  const auto found = detail::find_item(one.type(), bytes, -1);
  if (!found) return digest_access::add(*this, event, value_status::cannot_convert);
  std::vector<std::byte> memory;
  digest_access::add(*this, event, *found, bytes, word_order::host, [&](std::size_t size) {
    memory.resize(size);
    return memory.data();
  });
}

void value_digest::add(const column_data& column) {
  std::vector<std::byte> memory;
  const auto room = [&memory](std::size_t size) {
    memory.resize(size);
    return memory.data();
  };
  const std::size_t element = element_size(column.layout.element), records = column.record_names.size();
  for (std::size_t row = 0; row < column.size(); ++row) {
    const ravo_time_id event{column.numbers[row], column.times[row]};
    const value_status status = column.status[row];
    if (!detail::column_access::is_own(column, row)) continue;
    if (status != value_status::ok) {
      digest_access::add(*this, event, status);
    } else if (column.layout.kind == value_kind::name_value) {
      std::vector<detail::named_number> list;
      for (std::size_t i = 0; i < records; ++i)
        if (column.status_of(row, i) == value_status::ok)
          list.push_back({column.record_names[i], column.row<float>(row)[i]});
      digest_access::add(*this, event, std::move(list), room);
    } else {
      const std::vector<dimension_size> dimensions = column.dimensions_of_row(row);
      std::size_t first = row * column.layout.item_elements, last = first + column.layout.item_elements;
      if (column.is_ragged()) {
        first = column.offsets[row];
        last = column.offsets[row + 1];
      }
      const auto bytes = column.bytes().subspan(first * element, (last - first) * element);
      memory.assign(bytes.begin(), bytes.end());
      digest_access::add(*this, event, column.layout.element, dimensions, memory);
    }
  }
}

}  // namespace ravo
