// Files that are still being written, followed event by event.
#include "ravo_dataset/follow.h"

#include <memory>
#include <stdexcept>
#include <stop_token>

#include "event.h"
#include "interruptible.h"
#include "process_bound.h"

namespace ravo::python {
namespace {

/// An event that was handed over: an event, and what following knows of it.
struct followed_handle : event_handle {
  std::shared_ptr<const followed_event> followed;

  explicit followed_handle(followed_event&& one)
      : event_handle(event(one.get())), followed(process_bound(std::move(one))) {}
};

/// A following of one process. A wait that a signal ends, ends it.
class following_handle {
 public:
  following_handle(const selection& wanted, follow_options options)
      : follower_([&] {
          options.stop = stop_.get_token();
          return process_bound(follower(wanted, std::move(options)));
        }()) {}

  std::optional<followed_handle> next() {
    const use guard(*this);
    std::optional<followed_event> made = run_interruptible([this](const reading_controls& controls) {
      const std::stop_callback forward(controls.stop, [this] { stop_.request_stop(); });
      return follower_->next();
    });
    if (!made) return std::nullopt;
    return followed_handle(std::move(*made));
  }

  /// For questions; the result is as long as the handle.
  const follower& get() {
    const use guard(*this);
    return *follower_;
  }

 private:
  /// A follower is for one thread at a time, and not for a forked child. With the interpreter's lock.
  class use {
   public:
    explicit use(following_handle& of) : of_(of) {
      if (of_.process_ != getpid())
        throw std::runtime_error(
            "This following began before the process was forked; call follow() in the child");
      if (of_.is_used_)
        throw std::runtime_error("Another thread waits for the next event of this following");
      of_.is_used_ = true;
    }
    ~use() { of_.is_used_ = false; }
    use(const use&) = delete;
    use& operator=(const use&) = delete;

   private:
    following_handle& of_;
  };

  std::stop_source stop_;
  std::shared_ptr<follower> follower_;
  pid_t process_ = getpid();
  bool is_used_ = false;
};

void construct(following_handle* self, const selection& wanted, double poll, double silence,
               std::optional<double> end_after, bool until_end_of_run,
               const std::vector<std::string>& streams, std::size_t threads, std::size_t memory_limit,
               double largest_missing_share) {
  follow_options options;
  options.poll = poll;
  options.silence = silence;
  options.end_after = end_after;
  options.until_end_of_run = until_end_of_run;
  options.streams = streams;
  options.reading.threads = threads;
  options.reading.memory_limit = memory_limit;
  options.reading.damage.largest_missing_share = largest_missing_share;
  new (self) following_handle(wanted, std::move(options));
}

}  // namespace

void bind_follow(nb::module_& module) {
  nb::class_<followed_handle, event_handle>(module, "FollowedEvent", "An event that was handed over.")
      .def_prop_ro(
          "labels", [](const followed_handle& self) { return self.followed->labels(); },
          "The channels that were known when it was handed over.")
      .def_prop_ro(
          "is_late", [](const followed_handle& self) { return self.followed->is_late(); },
          "Whether it came after its time: it has the values of late files alone.")
      .def(
          "is_not_yet_recorded",
          [](const followed_handle& self, std::string_view channel) {
            return self.followed->is_not_yet_recorded(channel);
          },
          "channel"_a,
          "Whether a channel has no value because its stream is silent and may still deliver it.");
  nb::class_<following_handle>(module, "Following", "The events of files that are still being written.")
      .def("__init__", &construct, "selection"_a, nb::kw_only(), "poll"_a, "silence"_a,
           "end_after"_a.none(), "until_end_of_run"_a, "streams"_a, "threads"_a, "memory_limit"_a,
           "largest_missing_share"_a)
      .def(
          "__iter__", [](nb::handle self) { return nb::borrow(self); },
          nb::sig("def __iter__(self) -> Following"))
      .def("__next__",
           [](following_handle& self) {
             std::optional<followed_handle> next = self.next();
             if (!next) throw nb::stop_iteration();
             return std::move(*next);
           })
      .def_prop_ro(
          "watermark",
          [](following_handle& self) -> nb::object {
            const std::optional<time_stamp> reached = self.get().watermark();
            return reached ? nb::object(datetime_of(*reached)) : nb::none();
          },
          nb::for_getter(nb::sig("def watermark(self) -> numpy.datetime64 | None")),
          "Up to which time everything was taken, datetime64[us] in UTC; None at first.")
      .def_prop_ro(
          "ended",
          [](following_handle& self) -> std::optional<std::string> {
            const end_of_following end = self.get().ended();
            if (end == end_of_following::not_ended) return std::nullopt;
            return end_of_following_text(end);
          },
          "Why following ended, in words; None as long as it goes on.")
      .def_prop_ro(
          "ledger", [](following_handle& self) { return self.get().ledger(); },
          "What was expected, delivered and missing in everything that was handed over.")
      .def_prop_ro(
          "late_files", [](following_handle& self) { return self.get().late_files(); },
          "The files that came after their time, in whole or in part.")
      .def_prop_ro(
          "unmatched_patterns", [](following_handle& self) { return self.get().unmatched_patterns(); },
          "Patterns of channels that nothing matches in the files so far.");
}

}  // namespace ravo::python
