#include "checked_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "format/byte_view.h"

namespace ravo::checks {

checked_file::checked_file(const std::string& path) : file_(path.c_str()) {
  if (file_.error() != 0) throw file_lost(std::strerror(file_.error()));
  if (S_ISDIR(file_.status().st_mode)) throw file_lost("it is a folder");
  if (!file_.is_open()) throw file_lost("it is no regular file");
}

void checked_file::read(std::uint64_t offset, void* into, std::size_t length) const {
  if (bytes_read_.fetch_add(length) + length > most_read()) {
    bytes_read_ -= length;  // nothing was read
    throw read_too_much("");
  }
  const auto got = file_.read(offset, into, length);
  if (!got) throw file_lost(std::strerror(errno));
  if (*got < length) throw file_lost("it has become shorter");
}

std::uint32_t checked_file::word(std::uint64_t offset) const {
  unsigned char bytes[4];
  read(offset, bytes, sizeof bytes);
  return *byte_view(bytes, sizeof bytes, word_order::file).at<std::uint32_t>(0);
}

bool checked_file::has_changed() const {
  const auto now = file_.identity_now();
  if (!now) throw file_lost(std::strerror(errno));
  return *now != file_.identity();
}

const unsigned char* window::at(std::uint64_t offset, std::size_t length) {
  if (offset >= begin_ && offset - begin_ <= bytes_.size() && length <= bytes_.size() - (offset - begin_))
    return bytes_.data() + (offset - begin_);
  constexpr std::size_t most_gap = 128;  // skipped when reading on; more is a jump
  const std::uint64_t end = begin_ + bytes_.size();
  const bool goes_on = offset >= begin_ && offset <= end + most_gap;
  step_ = goes_on ? std::min(ahead_, 2 * std::max(step_, length)) : length;
  const auto left = static_cast<std::size_t>(std::min<std::uint64_t>(file_.size() - offset, step_));
  const std::size_t wanted = std::max(length, left);
  // Frees the memory that one large block took.
  if (bytes_.capacity() > 2 * std::max(wanted, ahead_)) bytes_ = {};
  bytes_.clear();  // if reading fails, the window is empty
  std::vector<unsigned char> bytes = std::move(bytes_);
  bytes.resize(wanted);
  file_.read(offset, bytes.data(), wanted);
  bytes_ = std::move(bytes);
  begin_ = offset;
  return bytes_.data();
}

}  // namespace ravo::checks
