#include "damaged_set.h"

#include <algorithm>
#include <filesystem>

#include "input.h"
#include "ravo_raw_format.h"
#include "simulated_files.h"
#include "words.h"

namespace ravo::fuzz {
namespace {

/// Every offset at which something begins: marker words, and the words of the pointer table that lead to a
/// subheader or its data.
std::vector<std::size_t> find_anchors(const std::string& file) {
  std::vector<std::size_t> anchors{file.size() - 4};
  for (std::size_t at = 0; at + 4 <= file.size(); at += 4)
    if (is_marker(word_at(file, at))) anchors.push_back(at);
  const std::size_t reference = word_at(file, file.size() - 4);
  const std::size_t pointers = word_at(file, reference + offsetof(ravo_file_reference_table, ecp_ref));
  const std::size_t length = word_at(file, pointers + 4);
  for (std::size_t at = pointers + 12; at + 16 <= pointers + length; at += 16)
    if (const std::size_t subhead = word_at(file, at + 8); subhead != 0) {
      anchors.push_back(subhead);
      anchors.push_back(word_at(file, at + 12));
    }
  return anchors;
}

}  // namespace

damaged_set::damaged_set(ravo_file_generation generation) {
  files_ = simulate_small_files(folder_.path().string(), generation, channels_);
  for (const std::string& file : files_) {
    const auto bytes = test::read_file(file);
    file_content content;
    content.whole.assign(bytes.begin(), bytes.end());
    content.anchors = find_anchors(content.whole);
    content.now = content.whole;
    contents_.push_back(std::move(content));
  }
}

void damaged_set::restore() {
  for (file_content& file : contents_) {
    file.now = file.whole;
    file.removed = false;
  }
}

void damaged_set::damage(input& from) {
  const std::uint8_t kind = from.byte();
  file_content& file = contents_[kind % contents_.size()];
  const std::size_t anchor = file.anchors[from.half() % file.anchors.size()];
  const std::size_t at = anchor + 4u * from.byte();
  const std::uint32_t value = from.word();
  const auto size = static_cast<std::uint32_t>(file.whole.size());
  switch (kind / contents_.size() % 10) {
    case 0:
    case 1:
      return set_word(file.now, at, value);
    case 2:
      return set_word(file.now, at, word_at(file.now, at) + value);
    case 3:
      return set_word(file.now, at, size + value % 16 - 8);
    case 4:
      return set_word(file.now, at, static_cast<std::uint32_t>(file.anchors[value % file.anchors.size()]));
    case 5:
      return set_word(file.now, at, word_at(file.now, at) ^ 1u << value % 32);
    case 6:
      return file.now.resize(std::min(file.now.size(), at + value % 4));
    case 7: {
      const std::size_t begin = std::min(at, file.now.size());
      const std::size_t count = std::min<std::size_t>(value % 4096, file.now.size() - begin);
      std::fill_n(file.now.begin() + static_cast<std::ptrdiff_t>(begin), count, '\0');
      return;
    }
    case 8:
      file.now = contents_[value % contents_.size()].now;
      return;
    default:
      file.removed = value % 4 == 0;
  }
}

void damaged_set::write() {
  for (std::size_t i = 0; i < contents_.size(); ++i) {
    file_content& file = contents_[i];
    if (file.removed) {
      std::filesystem::remove(files_[i]);
      file.stored_whole = false;
      continue;
    }
    if (file.stored_whole && file.now == file.whole) continue;
    folder_.write(std::filesystem::path(files_[i]).filename().string(),
                  {reinterpret_cast<const unsigned char*>(file.now.data()), file.now.size()});
    file.stored_whole = file.now == file.whole;
  }
}

}  // namespace ravo::fuzz
