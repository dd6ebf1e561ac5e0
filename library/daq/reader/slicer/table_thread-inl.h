// The thread that loads the tables of the files one after another, ahead of use, and the hand-over of the
// loaded tables to the caller's thread. Both sides share the task, guarded by tmx, and wait on tcond, which
// is broadcast at every change. file_switch-inl.h switches a channel from file to file.
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "ravo_daq/slicer.h"
#include "scoped_lock.h"

namespace ravo {

// ---- the thread's side

template <class G>
class table_loading {
 public:
  explicit table_loading(typename G::tables_task& task) : task_(task) {}

  void run() {
    while (!is_interrupted() && task_.next_file < count_of_files()) {
      if (!take_credit()) break;
      typename G::file_tables** slot = find_free_slot();
      if (slot == nullptr || is_interrupted()) break;
      if (G::limits_read_ahead && give_way()) continue;
      std::unique_ptr<typename G::file_tables> tables = load();
      if (tables == nullptr) return fail();
      if (is_interrupted()) break;
      hand_over(slot, tables.release());
    }
    finish();
  }

 private:
  static constexpr int most_ready = 3;
  static constexpr useconds_t pause_microseconds = 10000;

  bool is_stopped() const { return task_.stop != 0; }
  bool is_interrupted() const { return G::stops_between_steps && is_stopped(); }
  // The slicer changes the list only when this thread is gone.
  int count_of_files() const { return static_cast<int>(task_.files->size()); }
  char* next_file() const { return (*task_.files)[static_cast<std::size_t>(task_.next_file)]; }

  // Only this thread changes next_file, so it reads it without the lock.
  bool take_credit() {
    const scoped_lock lock(*task_.tmx);
    while (task_.go == 0 && !is_stopped()) {
      task_.starved = 1;
      pthread_cond_broadcast(task_.tcond);
      pthread_cond_wait(task_.tcond, task_.tmx);
    }
    task_.starved = 0;
    if (task_.go > 0) --task_.go;
    return !is_stopped();
  }

  typename G::file_tables** find_free_slot() {
    const scoped_lock lock(*task_.tmx);
    for (int i = 0; i < task_.get_tables_num; ++i)
      if (task_.get_tables[i] == nullptr) return &task_.get_tables[i];
    return nullptr;
  }

  // If enough loaded files are unclaimed, returns the credit, sleeps for a while and answers true.
  bool give_way() {
    {
      const scoped_lock lock(*task_.tmx);
      if (task_.ready < most_ready) return false;
      ++task_.go;
      pthread_cond_broadcast(task_.tcond);
    }
    usleep(pause_microseconds);
    return true;
  }

  std::unique_ptr<typename G::file_tables> load() {
    std::unique_ptr<typename G::file_tables> tables(new (std::nothrow) typename G::file_tables(task_.mode));
    if (tables == nullptr) {
      report_refusal(RAVO_DAQ_SLICER_INTERN_ERROR);
      return nullptr;
    }
    {
      const scoped_lock lock(*task_.tmx);
      tables->debug = task_.slicer->get_debug();
    }
    if (const int status = tables->get_all_tables(next_file(), 0, task_.chans); status != 0) {
      if (!tables->lacks_channels) report_refusal(status);
      return nullptr;
    }
    return tables;
  }

  // A channel that stops at this file has the same status as a channel at the end of its data: nothing else
  // shows the difference. A file that only lacks the channels is not reported: there is nothing wrong with
  // it.
  void report_refusal(int status) const {
    std::printf("%s: the tables cannot be loaded (status %d), no channel goes on from here\n", next_file(),
                status);
  }

  void hand_over(typename G::file_tables** slot, typename G::file_tables* tables) {
    const scoped_lock lock(*task_.tmx);
    *slot = tables;
    ++task_.ready;
    ++task_.next_file;
    pthread_cond_broadcast(task_.tcond);
  }

  void fail() {
    const scoped_lock lock(*task_.tmx);
    task_.status = 1;
    pthread_cond_broadcast(task_.tcond);
  }

  void finish() {
    const scoped_lock lock(*task_.tmx);
    task_.status = 0;
    pthread_cond_broadcast(task_.tcond);
    if constexpr (G::waits_when_loaded)
      while (!is_stopped()) pthread_cond_wait(task_.tcond, task_.tmx);
  }

  typename G::tables_task& task_;
};

// ---- the caller's side

template <class G>
typename G::file_tables* daq_slicer<G>::find_ready_table(const char* file) {
  if (file == nullptr || !is_started()) return nullptr;
  const scoped_lock lock(tmx);
  if (typename G::file_tables* tables = claim_tables(file)) return tables;
  // Waits only once: files are asked for in the order in which the thread loads them, so if another file
  // has become ready, this file cannot be had. A loaded file stays valid even if a later file has failed
  // meanwhile.
  if (task.ready == 0) wait_until_ready(file);
  return claim_tables(file);
}

template <class G>
typename G::file_tables* daq_slicer<G>::find_tables(const char* file) const {
  for (int i = 0; i < task.get_tables_num; ++i)
    if (get_tables[i] != nullptr && std::strcmp(get_tables[i]->get_file_name(), file) == 0)
      return get_tables[i];
  return nullptr;
}

// Every claim counts, even of tables that another channel has claimed before.
template <class G>
typename G::file_tables* daq_slicer<G>::claim_tables(const char* file) {
  typename G::file_tables* tables = find_tables(file);
  if (tables != nullptr && task.ready > 0) --task.ready;
  return tables;
}

// False if a wait would never end: the thread has failed or was never started, has passed the file, or has
// no credit, which only the caller could give.
template <class G>
bool daq_slicer<G>::may_become_ready(const char* file) const {
  if (tid == pthread_t{} || task.status != 0) return false;
  if (task.starved != 0 && task.go == 0) return false;
  for (std::size_t i = static_cast<std::size_t>(task.next_file); i < files.size(); ++i)
    if (std::strcmp(files[i], file) == 0) return true;
  return false;
}

template <class G>
void daq_slicer<G>::wait_until_ready(const char* file) {
  while (task.ready == 0 && may_become_ready(file)) pthread_cond_wait(&tcond, &tmx);
}

}  // namespace ravo
