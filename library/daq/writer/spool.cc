// The buffer and the nameless file that hold the baskets.
#include "spool.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "format/uninterrupted.h"
#include "nameless_file.h"

namespace ravo::writer {

namespace {

// Large enough that the cost of system calls is negligible, small compared with any sensible buffer.
constexpr std::size_t chunk_bytes = std::size_t{1} << 20;

}  // namespace

spool::spool(const folder& place, std::size_t buffer_bytes, std::size_t streams)
    : folder_(place), buffer_bytes_(buffer_bytes), extents_(streams), sizes_(streams, 0) {}

spool::~spool() {
  if (file_ >= 0) ::close(file_);
}

outcome spool::prepare(std::size_t bytes, std::size_t pieces) {
  if (!buffer_.empty() && (bytes > buffer_bytes_ || buffer_.size() > buffer_bytes_ - bytes)) {
    outcome moved = move_out();
    if (moved.failed()) return moved;
  }
  // Doubling stops at the buffer's size; only a single large event makes it grow further.
  const std::size_t needed = buffer_.size() + bytes;
  if (needed > buffer_.capacity())
    buffer_.reserve(std::max(needed, std::min(2 * buffer_.capacity(), buffer_bytes_)));
  make_room(pieces_, pieces);
  return {};
}

void spool::append(std::size_t stream, std::span<const unsigned char> bytes) noexcept {
  pieces_.push_back({stream, buffer_.size(), bytes.size()});
  buffer_.insert(buffer_.end(), bytes.begin(), bytes.end());
  sizes_[stream] += bytes.size();
}

void spool::arrange() {
  // Within a stream, pieces stay in the order of arrival, which is that of their offsets in the buffer.
  std::sort(pieces_.begin(), pieces_.end(), [](const piece& a, const piece& b) {
    return a.stream != b.stream ? a.stream < b.stream : a.offset < b.offset;
  });
}

outcome spool::move_out() {
  outcome opened = open_file();
  if (opened.failed()) return opened;
  arrange();
  for (std::size_t i = 0; i < pieces_.size(); ++i)
    if (i == 0 || pieces_[i].stream != pieces_[i - 1].stream) make_room(extents_[pieces_[i].stream], 1);

  byte_vector chunk;
  chunk.reserve(std::min(chunk_bytes, buffer_.size()));
  std::uint64_t end = file_size_;
  for (const piece& part : pieces_) {
    const unsigned char* bytes = buffer_.data() + part.offset;
    if (chunk.size() + part.length > chunk.capacity()) {
      outcome written = write_at(end, chunk.data(), chunk.size());
      if (written.failed()) return written;
      end += chunk.size();
      chunk.clear();
    }
    if (part.length > chunk.capacity()) {
      outcome written = write_at(end, bytes, part.length);
      if (written.failed()) return written;
      end += part.length;
    } else {
      chunk.insert(chunk.end(), bytes, bytes + part.length);
    }
  }
  outcome written = write_at(end, chunk.data(), chunk.size());
  if (written.failed()) return written;

  // Extents are recorded only when all bytes are in the file: a refusal above changes nothing.
  for (std::size_t i = 0; i < pieces_.size(); ++i) {
    const piece& part = pieces_[i];
    if (i == 0 || part.stream != pieces_[i - 1].stream)
      extents_[part.stream].push_back({file_size_, part.length});
    else
      extents_[part.stream].back().length += part.length;
    file_size_ += part.length;
  }
  pieces_.clear();
  if (buffer_.capacity() > buffer_bytes_) byte_vector().swap(buffer_);
  buffer_.clear();
  return {};
}

outcome spool::open_file() {
  if (file_ >= 0) return {};
  file_ = open_nameless(folder_, O_RDWR);
  if (file_ >= 0) return {};
  return system_refusal("cannot create a temporary file in the folder " + folder_.path(), errno,
                        "make the folder writable and repeat the call");
}

outcome spool::write_at(std::uint64_t offset, const unsigned char* bytes, std::size_t length) {
  while (length > 0) {
    const ssize_t written = uninterrupted::pwrite(file_, bytes, length, static_cast<off_t>(offset));
    if (written <= 0) {
      const int error = written < 0 ? errno : ENOSPC;
      return system_refusal("cannot write temporary data to the folder " + folder_.path(), error,
                            remedy_for_writing(error));
    }
    bytes += written;
    length -= static_cast<std::size_t>(written);
    offset += static_cast<std::uint64_t>(written);
  }
  return {};
}

outcome spool::copy(std::size_t stream, target_file& target) const {
  byte_vector chunk(extents_[stream].empty() ? 0 : chunk_bytes);
  for (extent part : extents_[stream]) {
    while (part.length > 0) {
      const std::size_t wanted =
          static_cast<std::size_t>(std::min<std::uint64_t>(part.length, chunk.size()));
      const ssize_t got =
          uninterrupted::pread(file_, chunk.data(), wanted, static_cast<off_t>(part.offset));
      if (got <= 0)
        return system_refusal("cannot read temporary data back from the folder " + folder_.path(),
                              got < 0 ? errno : EIO, "check the disk");
      outcome appended = target.append({chunk.data(), static_cast<std::size_t>(got)});
      if (appended.failed()) return appended;
      part.offset += static_cast<std::uint64_t>(got);
      part.length -= static_cast<std::uint64_t>(got);
    }
  }
  auto part = std::lower_bound(pieces_.begin(), pieces_.end(), stream,
                               [](const piece& a, std::size_t wanted) { return a.stream < wanted; });
  for (; part != pieces_.end() && part->stream == stream; ++part) {
    outcome appended = target.append({buffer_.data() + part->offset, part->length});
    if (appended.failed()) return appended;
  }
  return {};
}

void spool::clear() {
  buffer_.clear();
  if (buffer_.capacity() > buffer_bytes_) byte_vector().swap(buffer_);
  pieces_.clear();
  for (std::vector<extent>& list : extents_) list.clear();
  std::fill(sizes_.begin(), sizes_.end(), 0);
  if (file_ >= 0) ::close(file_);  // the system frees a nameless file's space with its last descriptor
  file_ = -1;
  file_size_ = 0;
}

}  // namespace ravo::writer
