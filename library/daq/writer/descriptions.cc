// Checks and copies channel descriptions; the XML library makes the XML itself.
#include "descriptions.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "big_endian.h"
#include "ravo_xml.h"

namespace ravo::writer {

namespace {

template <std::size_t width>
bool ends(const char (&text)[width]) {
  return std::memchr(text, 0, width) != nullptr;
}

bool counts(std::int32_t count, std::size_t size) {
  return count >= 0 && static_cast<std::size_t>(count) == size;
}

bool is_sound(const bit_descr* bit) { return bit && ends(bit->bit_name) && ends(bit->bit_desc); }

bool is_sound(const stat_descr& stat) {
  return ends(stat.stat_name) && ends(stat.stat_desc) && ends(stat.units);
}

bool is_sound(const dim_descr* dim) {
  return dim && ends(dim->dim_name) && ends(dim->dim_desc) && ends(dim->units) &&
         counts(dim->nstats, dim->stats.size()) &&
         std::all_of(dim->stats.begin(), dim->stats.end(),
                     [](const stat_descr& stat) { return is_sound(stat); });
}

bool has_sound_texts(const chan_descr_2010& one) {
  return ends(one.prop_name) && ends(one.daq_name) && ends(one.prop_desc) && ends(one.units) &&
         ends(one.sb_name) && ends(one.subsystem);
}

}  // namespace

outcome descriptions::check(const chan_descr_2010& description) {
  const bool sound = has_sound_texts(description) && counts(description.nbits, description.bits.size()) &&
                     counts(description.ndims, description.dims.size()) &&
                     std::all_of(description.bits.begin(), description.bits.end(),
                                 [](const bit_descr* bit) { return is_sound(bit); }) &&
                     std::all_of(description.dims.begin(), description.dims.end(),
                                 [](const dim_descr* dim) { return is_sound(dim); });
  if (sound) return {};
  return refusal(RAVO_DAQ_WRITER_INV_PARAM,
                 "the description does not agree with itself; nbits, ndims and nstats are the lengths "
                 "of their lists, no element is null, and a zero byte ends every text");
}

void descriptions::add(const chan_descr_2010& description, const std::string& channel) {
  make_room(list_, 1);
  // Empties the copied lists first, so that a failure does not free the elements of the original.
  auto copy = std::make_unique<chan_descr_2010>(description);
  copy->bits.clear();
  copy->dims.clear();
  if (copy->prop_name[0] == 0) channel.copy(copy->prop_name, sizeof copy->prop_name - 1);
  list_.push_back(copy.release());
  std::vector<bit_descr*>& bits = list_.back()->bits;
  std::vector<dim_descr*>& dims = list_.back()->dims;
  try {
    bits.reserve(description.bits.size());
    dims.reserve(description.dims.size());
    for (const bit_descr* bit : description.bits) bits.push_back(new bit_descr(*bit));
    for (const dim_descr* dim : description.dims) dims.push_back(new dim_descr(*dim));
  } catch (...) {
    remove_last();
    throw;
  }
}

void descriptions::remove_last() {
  std::vector<chan_descr_2010*> last{list_.back()};
  list_.pop_back();
  ravo_free_chan_descr(&last);
}

void descriptions::clear() { ravo_free_chan_descr(&list_); }

std::string descriptions::text() const { return ravo_store_chan_descr(list_); }

}  // namespace ravo::writer
