#include "align/file_scan.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <utility>

#include "ravo_dataset/errors.h"

namespace ravo::detail {
namespace {

/// Thrown if the names of a file do not fit while others are scanned: it is scanned again, alone.
struct no_room_for_names {};

/// Memory for the tables of files that several threads scan at the same time. A file waits until others
/// give theirs back; if there are no others, and not enough memory, it is refused at once.
class table_memory {
 public:
  enum class company { shared, alone };

  table_memory(memory_budget& memory, const std::function<void()>& check_stop)
      : memory_(memory), check_stop_(check_stop) {}

  /// The memory of one file, given back in the end except for what is kept.
  class of_file {
   public:
    of_file(table_memory& all, reservation& reserved, const std::string& path, company how)
        : all_(all), reserved_(reserved), path_(path), how_(how) {}
    ~of_file() { end(0); }
    of_file(const of_file&) = delete;
    of_file& operator=(const of_file&) = delete;

    void reserve(std::size_t bytes, const table_bytes& tables) {
      all_.reserve(bytes, tables, path_, reserved_, how_);
      is_reserved_ = true;
    }
    /// No more is kept than was reserved, unless the site's library did not say how large its
    /// tables are.
    void keep(std::size_t bytes) {
      if (bytes > reserved_.bytes()) {
        end(0);
        reserve(bytes, {});
      }
      end(bytes);
    }

   private:
    void end(std::size_t kept) {
      if (std::exchange(is_reserved_, false)) all_.give_back(kept, reserved_, how_);
    }
    table_memory& all_;
    reservation& reserved_;
    const std::string& path_;
    company how_;
    bool is_reserved_ = false;
  };

  [[noreturn]] void refuse(const std::string& what) const {
    throw memory_exceeded(what + "; " + std::to_string(memory_.used()) + " of the memory limit of " +
                          std::to_string(memory_.limit()) +
                          " bytes are in use: raise the limit, or leave the file out");
  }

 private:
  void reserve(std::size_t bytes, const table_bytes& tables, const std::string& path, reservation& reserved,
               company how) {
    std::unique_lock lock(mutex_);
    for (;;) {
      const bool is_my_turn = !is_one_alone_ && (how == company::shared || holders_ == 0);
      if (is_my_turn && memory_.try_grow(reserved, bytes)) break;
      if (is_my_turn && holders_ == 0)
        refuse("Scanning " + path + " takes " + std::to_string(bytes) +
               " bytes, since its channel dictionary has " + std::to_string(tables.dictionary) +
               " and its event index " + std::to_string(tables.event_index));
      check_stop_();
      given_back_.wait_for(lock, std::chrono::milliseconds(20));
    }
    ++holders_;
    is_one_alone_ = how == company::alone;
  }
  void give_back(std::size_t kept, reservation& reserved, company how) {
    {
      const std::lock_guard lock(mutex_);
      reserved.shrink(kept);
      --holders_;
      if (how == company::alone) is_one_alone_ = false;
    }
    given_back_.notify_all();
  }

  memory_budget& memory_;
  const std::function<void()>& check_stop_;
  std::mutex mutex_;  ///< guards what follows
  std::condition_variable given_back_;
  std::size_t holders_ = 0;  ///< files that have memory to give back
  bool is_one_alone_ = false;
};

/// The tables of one file, with memory for them.
void scan(const open_file& file, table_memory::of_file& memory, channel_names& names, scanned_file& into) {
  into.channels = {};
  into.summary = scan_file(
      file,
      [&](const table_bytes& tables) {
        memory.reserve(tables.dictionary + tables.event_index +
                           while_it_grows * tables.rows * sizeof(scanned_file::channel),
                       tables);
      },
      [&](const listed_channel& channel) {
        const auto number = names.add(channel.name);
        if (!number) throw no_room_for_names();
        into.channels.push_back(
            {*number, {channel.row, channel.count, channel.dtype_mask}, channel.event_mask});
      });
}

}  // namespace

std::optional<std::uint32_t> channel_names::add(std::string_view name) {
  // With its places in the lists that are made of all names; its letters are stored twice.
  constexpr std::size_t of_name = 320;
  const std::lock_guard lock(mutex_);
  const auto known = numbers_.find(name);
  if (known != numbers_.end()) return known->second;
  if (!memory_.try_grow(reserved_, of_name + 2 * name.size())) return std::nullopt;
  const auto number = static_cast<std::uint32_t>(numbers_.size());
  return numbers_.emplace(std::string(name), number).first->second;
}

void file_scan::run(const std::vector<std::string>& paths, open_files& opened, worker_pool& pool,
                    const std::function<void()>& check_stop) {
  files.resize(paths.size());
  table_memory tables(memory_, check_stop);
  const auto scan_one = [&](std::size_t i, const open_file& file, table_memory::company how) {
    scanned_file& into = files[i];
    table_memory::of_file memory(tables, into.memory, paths[i], how);
    scan(file, memory, names, into);
    const error_of_the_machine error = opened.why_not(i);
    if (error && !into.is_readable())
      into.summary.refuse(error.refusal(), "it cannot be read: " + error.text());
    memory.keep(into.channels.capacity() * sizeof(scanned_file::channel));
  };
  pool.run(paths.size(), pool.size(), [&](std::size_t i) {
    check_stop();
    const auto file = opened.get(i);
    if (!file) {
      if (const error_of_the_machine error = opened.why_not(i))
        files[i].summary.refuse(error.refusal(), "it cannot be opened: " + error.text());
      else
        files[i].summary.refuse(file_refusal::not_regular, "it is no regular file, or changes right now");
      return;
    }
    try {
      return scan_one(i, *file, table_memory::company::shared);
    } catch (const no_room_for_names&) {
    }
    try {
      scan_one(i, *file, table_memory::company::alone);
    } catch (const no_room_for_names&) {
      tables.refuse("The channel names of " + paths[i] + " do not fit into the memory");
    }
  });
}

void visit_files_of(const file_scan& scan, std::uint32_t name,
                    const std::function<bool(const known_file&)>& visit) {
  std::uint32_t position = 0;
  for (const scanned_file& file : scan.files) {
    if (!file.is_readable()) continue;
    const auto here = std::find_if(file.channels.begin(), file.channels.end(),
                                   [name](const auto& channel) { return channel.name == name; });
    const bool has_data = here != file.channels.end() && here->place.count != 0;
    if (has_data && !visit(known_file{file.summary, {here->place}, position})) return;
    ++position;
  }
}

}  // namespace ravo::detail
