// The body of a channel reader's worker threads: takes one undecoded event after another, has it decoded,
// stores it, reports what went wrong, and wakes the master after the last event.
#include <pthread.h>

#include <cstdint>
#include <cstdio>

#include "decode/decode_block.h"
#include "ravo_daq/read_chan.h"
#include "ravo_evutl.h"
#include "read_chan/block_source.h"
#include "read_chan/read_chan_texts.h"
#include "report_unzip_failure.h"
#include "scoped_lock.h"
#include "stopwatch.h"

namespace ravo {

/// What a worker prints, with its number, before it ends because of a block that it cannot decode; null for
/// outcomes after which it prints more than that, or goes on. In the order of the outcomes.
struct outcome_text {
  decode_outcome outcome;
  const char* text;
};
inline constexpr outcome_text outcome_texts[] = {
    {decode_outcome::decoded, nullptr},
    {decode_outcome::outside, "Failed to obtain pointer to event data pointer %lu\n"},
    {decode_outcome::misdirected, nullptr},
    {decode_outcome::no_event_header_memory, "Failed to malloc additional event header %lu .. exiting\n"},
    {decode_outcome::no_server_block_memory,
     "Failed to malloc additional server block header %lu .. exiting\n"},
    {decode_outcome::no_subheader_memory,
     "Failed to malloc additional server block subheader %lu .. exiting\n"},
    {decode_outcome::no_work_memory, "Failed to malloc additional memory %lu .. exiting\n"},
    {decode_outcome::no_block_memory, "Failed to malloc working memory %lu .. exiting\n"},
    {decode_outcome::no_update_memory, "Failed to malloc working memory (UPD) %lu .. exiting\n"},
    {decode_outcome::no_plain_memory, "Failed to malloc working memory (NOTZIPPPED) %lu .. exiting\n"},
    {decode_outcome::unknown_unzipper, nullptr},
    {decode_outcome::unzip_failed, nullptr},
    {decode_outcome::length_mismatch, nullptr},
    {decode_outcome::unzipped_not_convertible, nullptr},
    {decode_outcome::update_not_convertible, "Failed to convert env  %lu .. exiting\n"},
    {decode_outcome::plain_not_convertible, "Failed to convert_data  %lu .. exiting\n"},
};
/// Whether every outcome has its row, in order.
constexpr bool has_every_outcome() {
  std::size_t next = 0;
  for (const outcome_text& row : outcome_texts)
    if (static_cast<std::size_t>(row.outcome) != next++) return false;
  return next == decode_outcome_count;
}
static_assert(has_every_outcome());
constexpr const char* text_of(decode_outcome outcome) {
  return outcome_texts[static_cast<std::size_t>(outcome)].text;
}

template <class G>
class unzip_worker {
 public:
  explicit unzip_worker(typename G::read_chan& reader) : reader_(reader), source_(source_of(reader)) {}

  int run() {
    if (source_.event_headers.empty() || source_.server_blocks.empty() || source_.channel.empty()) {
      reader_.signal_master();
      return -2;
    }
    if (!has_output()) {
      std::printf("Wrong out from object tid:%lu... exiting\n", id_);
      reader_.signal_master();
      return -3;
    }
    while (reader_.stop == 0) {
      const int index = take_next();
      if (index < 0) {
        reader_.set_thread_exited(pthread_self());
        break;
      }
      if (!decode(index)) break;
    }
    print_time();
    return 0;
  }

 private:
  bool has_output() {
    const scoped_lock lock(reader_.mx);
    return reader_.out != nullptr;
  }

  /// The index of the next entry, or -1 if there are no more.
  int take_next() {
    const scoped_lock lock(reader_.mx);
    return reader_.out_taken >= reader_.out_total ? -1 : reader_.out_taken++;
  }

  /// False if the worker must end.
  bool decode(int index) {
    const typename G::chan_pointers_table_entry* where = reader_.get_data_table_pointer(index);
    if (where == nullptr) {
      std::printf("Failed to obtain pointer to event data pointer %lu\n", id_);
      return false;
    }
    decode_result<typename G::format> result =
        decode_block<typename G::format>(source_, *where, reader_.chan, reader_.subchan);
    if (reader_.is_source_damaged()) {
      const scoped_lock lock(reader_.mx);
      reader_.note_damage();
      return false;
    }
    switch (result.outcome) {
      case decode_outcome::decoded:
        if (result.cut_failed) std::printf(read_chan_texts<G>::cut_failed, reader_.chan, reader_.subchan);
        store(index, result);
        return true;
      case decode_outcome::unzip_failed:
        // The entry stays undecoded and is not counted, on purpose.
        report_unzip_failure(result.unzipped);
        std::printf("Failed to uncompress PID %lu!!!\n", id_);
        return true;
      case decode_outcome::misdirected:
        std::printf("%s entry %d leads to no event or into the middle of a server block\n", reader_.chan,
                    index);
        return true;
      case decode_outcome::unzipped_not_convertible:
        return store_without_data(index, result);
      default:
        report(result);
        return false;
    }
  }

  static std::uint64_t address(void* memory) { return reinterpret_cast<std::uint64_t>(memory); }

  void store(int index, decode_result<typename G::format>& result) {
    const scoped_lock lock(reader_.mx);
    ravo_channel_entry_long& entry = reader_.out[index];
    entry.event_id = {result.event_header->event_number, result.event_header->event_time};
    typename G::subhead* block = result.block.release();
    entry.sbchdata[0] = {address(result.event_header.release()), address(result.server_block.release()),
                         address(block), address(block + 1)};
    count_as_done();
  }

  // The trace lines belong to this path. The entry keeps the number of an undecoded entry. False if the
  // worker must end.
  bool store_without_data(int index, decode_result<typename G::format>& result) {
    read_chan_texts<G>::unzipped_not_convertible(result.error, static_cast<long>(result.unzipped.produced),
                                                 id_);
    if constexpr (!G::keeps_unconverted_entries) return false;
    std::printf("HERE 1\n");
    std::printf("HERE 2\n");
    std::printf("HERE 3\n");
    {
      const scoped_lock lock(reader_.mx);
      reader_.out[index].sbchdata[0] = {address(result.event_header.release()),
                                        address(result.server_block.release()), 0, 0};
      count_as_done();
    }
    std::printf("CONTINUE\n");
    return true;
  }

  /// Called with mx held.
  void count_as_done() {
    if (++reader_.out_done != reader_.out_total) return;
    reader_.complete();
    reader_.signal_master();
  }

  void report(const decode_result<typename G::format>& result) {
    if (const char* const text = text_of(result.outcome)) std::printf(text, id_);
    if (result.outcome == decode_outcome::unknown_unzipper) {
      std::printf("Unknown unzipper: 0x%x!!! exiting tid:%lu\n", result.zip.zip_flags, id_);
      print_ravo_zip_header(&result.zip);
    }
    if (result.outcome == decode_outcome::length_mismatch)
      std::printf("Orig size (%d) != unzip size (%d) tid:%lu\n", static_cast<int>(result.zip.orig_length),
                  static_cast<int>(result.unzipped.produced), id_);
  }

  void print_time() {
    if (reader_.cfg->debug >= 0) return;
    const scoped_lock lock(reader_.mx);
    std::printf("thread: finished %lu  %d  in %f msec\n", id_, reader_.out_done, watch_.milliseconds());
  }

  typename G::read_chan& reader_;
  const block_source source_;
  const unsigned long id_ = pthread_self();
  const stopwatch watch_;
};

template <class G>
void* unzip_thread(typename G::read_chan* reader) {
  if (reader == nullptr) {
    std::printf("No object to work with tid:%lu... exiting\n", pthread_self());
    return reinterpret_cast<void*>(std::intptr_t{-1});
  }
  return reinterpret_cast<void*>(static_cast<std::intptr_t>(unzip_worker<G>(*reader).run()));
}

}  // namespace ravo
