// Reads events in order: cuts the selection into batches, has the pool decode some of them ahead, and hands
// out the events one by one. A batch for which there is no memory yet is decoded when its turn comes. If
// another reading of the dataset needs the memory of a batch, the batch is decoded again.
#ifndef RAVO_DATASET_EVENT_READER_H
#define RAVO_DATASET_EVENT_READER_H

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "dataset_state.h"
#include "ravo_dataset/event.h"
#include "read/event_batch.h"
#include "work/read_ahead.h"

namespace ravo::detail {

class event_reader {
 public:
  event_reader(std::shared_ptr<dataset_state> state, event_options options);
  ~event_reader();
  event_reader(const event_reader&) = delete;
  event_reader& operator=(const event_reader&) = delete;

  std::optional<event> next();
  std::optional<event> at(std::uint32_t number);
  std::optional<event> at(const time_stamp& time);
  read_ledger ledger() const { return ledger_; }

 private:
  enum class progress { waiting, decoded, no_memory, failed };
  /// A batch that is decoded ahead, and later the one whose events are handed out. The worker and the
  /// reader share it, and others may take the batch away as long as nobody holds it: a user first copies
  /// the pointer to it.
  struct task : read_ahead {
    bool give_back(batch_turn which) override;
    /// Claims the work, for a worker or the reader itself; false if it was begun before. It is of no use to
    /// the pool any more then.
    bool begin();
    /// The same, if the work was left to the pool.
    bool begin_ahead();
    /// It is decoded when its turn comes.
    void set_undone();
    bool is_waiting();
    void begin_turn(const std::shared_ptr<event_batch>& decoded);
    void end_turn();
    std::shared_ptr<event_batch> batch_if_there();
    bool is_listed = false;  ///< where others find it
    batch_plan plan;
    std::mutex mutex;  // guards what follows
    std::condition_variable done;
    progress state = progress::no_memory;  ///< waiting from when it is started
    bool is_begun = false;
    batch_turn turn = batch_turn::later;
    std::shared_ptr<event_batch> batch;
    std::exception_ptr failure;
  };

  void find_start();
  bool is_backward() const { return options_.order == event_order::backward; }
  void record_first_segments();
  std::optional<batch_plan> next_plan();
  batch_plan plan_batch(const segment& part);
  void report_progress() const;
  std::shared_ptr<const segment> segment_to_plan(std::size_t index);
  std::shared_ptr<const segment> segment_to_read(std::size_t index);
  std::size_t selected_in(std::size_t index);
  bool enter_segment();
  void record_unaligned(std::size_t segment, reading_extent extent);
  reading_extent extent() const;
  void top_up();
  void start(const std::shared_ptr<task>& ahead);
  static void do_ahead(task& ahead, const std::shared_ptr<dataset_state>& state);
  bool help();
  void align_ahead(std::size_t segment);
  void list(const std::shared_ptr<task>& one);
  std::shared_ptr<event_batch> batch_in_turn();
  std::shared_ptr<event_batch> next_batch();
  void put_back_the_rest();
  std::shared_ptr<event_batch> take_batch(task& ahead);
  std::shared_ptr<event_batch> decode_now(batch_plan& plan);
  bool split(batch_plan& plan);
  bool drop_one_ahead();
  event hand_out(const std::shared_ptr<event_batch>& batch, std::size_t index);
  void expect_blocks(std::size_t segment, std::uint32_t number);
  std::optional<event> only(std::size_t segment, std::uint32_t number);
  std::optional<event> not_found();
  void record_gone_files(std::size_t segment, const detail::segment& part);
  void settle();

  std::shared_ptr<dataset_state> state_;
  const event_options options_;
  std::vector<std::size_t>
      recorded_;  ///< by segment: number of channels whose unaligned entries are counted
  read_ledger ledger_;
  bool is_settled_ = false;

  // The next event to be planned: its ordinal among all selected events, and the segment it is in.
  bool is_started_ = false;
  std::size_t ordinal_ = 0;
  std::size_t left_ = 0;    ///< events still to be planned
  std::size_t stride_ = 1;  ///< in ordinals
  std::size_t segment_ = 0;
  std::size_t before_segment_ = 0;  ///< selected events before the segment

  std::deque<std::shared_ptr<task>> ahead_;
  std::vector<std::shared_ptr<task>>
      aligning_;                      ///< tasks without events: they align a segment ahead of use
  std::shared_ptr<task> in_turn_;     ///< whose events are handed out
  std::size_t place_ = 0;             ///< how many of its events were handed out
  double decoded_a_stored_byte_ = 1;  ///< of the last batch
  std::uint64_t done_bytes_ = 0;
  std::uint64_t total_bytes_ = 0;  ///< counted if progress is asked for
};

}  // namespace ravo::detail

#endif
