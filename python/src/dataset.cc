// The dataset: opening it, and every reading of it.
#include "dataset_handle.h"

#include <memory>

#include "arrays.h"
#include "column.h"
#include "event.h"
#include "interruptible.h"
#include "process_bound.h"
#include "times.h"

namespace ravo::python {
namespace {

using dataset_class = nb::class_<dataset_handle>;
using names = std::vector<std::string>;
using writable_bytes = nb::ndarray<nb::c_contig, nb::device::cpu>;

/// Runs a reading of a dataset. `read` gets the dataset and the controls.
template <class Read>
auto reading_of(dataset_handle& self, Read read, const progress_callback& progress = {}) {
  const std::shared_ptr<dataset> opened = self.get();
  return run_interruptible([&](const reading_controls& controls) { return read(*opened, controls); },
                           progress);
}

void construct(dataset_handle* self, const selection& wanted, std::size_t threads, std::size_t memory_limit,
               std::uint64_t largest_block, std::size_t open_files, double largest_missing_share) {
  dataset_options options;
  options.threads = threads;
  options.memory_limit = memory_limit;
  options.largest_block = largest_block;
  options.open_files = open_files;
  options.damage.largest_missing_share = largest_missing_share;
  new (self) dataset_handle(wanted, std::move(options));
}

void bind_opening(dataset_class& bound) {
  const dataset_options defaults;
  bound
      .def("__init__", &construct, "selection"_a, nb::kw_only(), "threads"_a = defaults.threads,
           "memory_limit"_a = defaults.memory_limit, "largest_block"_a = defaults.largest_block,
           "open_files"_a = defaults.open_files,
           "largest_missing_share"_a = defaults.damage.largest_missing_share)
      .def_prop_ro("selection", [](dataset_handle& self) { return self.get()->get_selection(); })
      .def_prop_ro("channels", [](dataset_handle& self) { return self.get()->channels(); })
      .def_prop_ro("labels",
                   [](dataset_handle& self) {
                     names labels;
                     for (const dataset_channel& channel : self.get()->channels())
                       labels.push_back(channel.label);
                     return labels;
                   })
      .def_prop_ro("files", [](dataset_handle& self) { return self.get()->files(); })
      .def(
          "find_channel",
          [](dataset_handle& self, std::string_view label) { return self.get()->find_channel(label); },
          "label"_a,
          "The position of a channel by its label, or by its name if only one channel has that name.")
      .def_prop_ro(
          "ledger", [](dataset_handle& self) { return self.get()->ledger(); },
          "The ledger of all readings so far.")
      .def_prop_ro("peak_memory", [](dataset_handle& self) { return self.get()->peak_memory(); });
}

nb::object event_ids(dataset_handle& self) {
  const std::vector<ravo_time_id> ids = reading_of(
      self, [](dataset& data, const reading_controls& controls) { return data.event_ids(controls.stop); });
  return nb::make_tuple(
      array_of_each(ids, [](const ravo_time_id& id) { return id.event_number; }),
      array_of_each(ids, [](const ravo_time_id& id) { return ravo::microseconds_of(id.time); }));
}

std::vector<channel_index> index(dataset_handle& self, const std::optional<names>& channels,
                                 column_rows rows) {
  return reading_of(self, [&](dataset& data, const reading_controls& controls) {
    dataset_index made =
        channels ? data.index(*channels, {rows}, controls.stop) : data.index({rows}, controls.stop);
    return std::move(made.channels);
  });
}

std::vector<channel_description> describe(dataset_handle& self, const std::optional<std::string>& channel,
                                          std::optional<std::size_t> most_files) {
  return reading_of(self, [&](dataset& data, const reading_controls& controls) {
    describe_options options;
    if (most_files) options.most_files = *most_files;
    options.stop = controls.stop;
    return channel ? std::vector{data.describe(*channel, options)} : data.describe(options);
  });
}

std::vector<partition> partitions(dataset_handle& self, std::optional<std::uint64_t> target_bytes,
                                  std::optional<std::size_t> count) {
  return reading_of(self, [&](dataset& data, const reading_controls& controls) {
    std::vector<partition> parts = data.partitions({target_bytes, count, controls.stop});
    for (partition& part : parts) part.wanted = with_absolute_paths(std::move(part.wanted));
    return parts;
  });
}

void bind_tables(dataset_class& bound) {
  bound
      .def(
          "size",
          [](dataset_handle& self) {
            return reading_of(self, [](dataset& data, const reading_controls& controls) {
              return data.size(controls.stop);
            });
          },
          "The number of events of the selection.")
      .def("event_ids", &event_ids,
           nb::sig("def event_ids(self) -> tuple[numpy.typing.NDArray[numpy.uint32], "
                   "numpy.typing.NDArray[numpy.int64]]"),
           "Numbers and times (microseconds since 1970) of the events, in order.")
      .def(
          "plan",
          [](dataset_handle& self) {
            return reading_of(self, [](dataset& data, const reading_controls& controls) {
              return data.plan(controls.stop);
            });
          },
          "What a reading of everything would take.")
      .def("partitions", &partitions, nb::kw_only(), "target_bytes"_a.none() = nb::none(),
           "count"_a.none() = nb::none(),
           "Parts of the selection that can be read one by one, of at most so many decoded bytes, or so "
           "many.")
      .def("index", &index, "channels"_a.none() = nb::none(), "rows"_a = column_rows::recorded,
           "The rows of channels by the tables of the files alone.")
      .def("describe", &describe, "channel"_a.none() = nb::none(), "most_files"_a.none() = nb::none(),
           "What a channel is, or all of them are.")
      .def(
          "locate",
          [](dataset_handle& self, const std::string& channel, std::uint64_t row, column_rows rows) {
            return reading_of(self, [&](dataset& data, const reading_controls&) {
              return data.locate(channel, row, rows);
            });
          },
          "channel"_a, "row"_a, "rows"_a = column_rows::recorded,
          "Where the block of a row lies; None if it has none.")
      .def(
          "availability",
          [](dataset_handle& self, std::size_t bins, std::optional<std::int64_t> from_us,
             std::optional<std::int64_t> to_us) {
            return reading_of(self, [&](dataset& data, const reading_controls& controls) {
              return data.availability({bins, from_us, to_us, controls.stop});
            });
          },
          "bins"_a = 1000, "from_us"_a.none() = nb::none(), "to_us"_a.none() = nb::none());
}

/// What a part of a column is, as Python passes it.
struct column_part {
  column_rows rows = column_rows::recorded;
  std::size_t first = 0;
  std::optional<std::size_t> count;
  std::size_t step = 1;
  std::vector<std::size_t> row_list;
  std::optional<int> member;
  std::optional<std::pair<std::size_t, std::size_t>> samples;
  std::optional<std::array<std::size_t, 4>> region;
  bool with_digest = false;

  column_options options() const {
    column_options made;
    made.rows = rows;
    made.first = first;
    made.count = count;
    made.step = step;
    made.row_list = row_list;
    made.member = member;
    if (samples) made.samples = {samples->first, samples->second};
    if (region) made.region = {(*region)[0], (*region)[1], (*region)[2], (*region)[3]};
    made.with_digest = with_digest;
    return made;
  }
};

column_options with_controls(const column_part& part, const reading_controls& controls) {
  column_options options = part.options();
  options.stop = controls.stop;
  options.progress = controls.progress;
  return options;
}

std::span<std::byte> memory_of(const std::optional<writable_bytes>& into) {
  if (!into) return {};
  return {static_cast<std::byte*>(into->data()), into->nbytes()};
}

column_handle column(dataset_handle& self, const std::string& channel, const column_part& part,
                     const std::optional<writable_bytes>& into, const progress_callback& progress) {
  column_data made = reading_of(
      self,
      [&](dataset& data, const reading_controls& controls) {
        column_options options = with_controls(part, controls);
        options.into = memory_of(into);
        return data.column(channel, options);
      },
      progress);
  return column_handle(std::move(made), into ? nb::cast(*into) : nb::object());
}

std::vector<column_handle> columns(dataset_handle& self, const names& channels, const column_part& part,
                                   const progress_callback& progress) {
  std::vector<column_data> made = reading_of(
      self,
      [&](dataset& data, const reading_controls& controls) {
        return data.columns(channels, with_controls(part, controls));
      },
      progress);
  std::vector<column_handle> handles;
  for (column_data& one : made) handles.emplace_back(std::move(one));
  return handles;
}

/// The chunks of one reading of a column.
class chunk_iterator {
 public:
  chunk_iterator(std::shared_ptr<dataset> from, const std::string& channel, std::size_t bytes,
                 const column_part& part)
      : from_(std::move(from)) {
    column_options options = part.options();
    options.stop = stop_.get_token();
    range_ = process_bound(from_->column_chunks(channel, bytes, std::move(options)));
  }

  column_handle next() {
    std::optional<column_data> made = run_interruptible([this](const reading_controls& controls) {
      const std::stop_callback forward(controls.stop, [this] { stop_.request_stop(); });
      return range_->next();
    });
    if (!made) throw nb::stop_iteration();
    return column_handle(std::move(*made));
  }

 private:
  std::shared_ptr<dataset> from_;
  std::stop_source stop_;
  std::shared_ptr<column_chunk_range> range_;
};

chunk_iterator* column_chunks(dataset_handle& self, const std::string& channel, std::size_t bytes,
                              const column_part& part) {
  return new chunk_iterator(self.get(), channel, bytes, part);
}

void bind_columns(nb::module_& module, dataset_class& bound) {
  nb::class_<column_part>(module, "Part",
                          "The rows, member, samples and pixels of a column that are wanted.")
      .def(nb::init<>())
      .def_rw("rows", &column_part::rows)
      .def_rw("first", &column_part::first)
      .def_rw("count", &column_part::count, nb::arg("count").none())
      .def_rw("step", &column_part::step)
      .def_rw("row_list", &column_part::row_list)
      .def_rw("member", &column_part::member, nb::arg("member").none(),
              "Of values of several members this one, by its position.")
      .def_rw("samples", &column_part::samples, nb::arg("samples").none(),
              "First and count, of each group.")
      .def_rw("region", &column_part::region, nb::arg("region").none(), "x, y, width, height, in pixels.")
      .def_rw("with_digest", &column_part::with_digest);
  nb::class_<chunk_iterator>(module, "ChunkIterator",
                             "The chunks of one reading of a column, for a single pass.")
      .def(
          "__iter__", [](nb::handle self) { return nb::borrow(self); },
          nb::sig("def __iter__(self) -> ChunkIterator"))
      .def("__next__", &chunk_iterator::next);
  bound
      .def("column", &column, "channel"_a, "part"_a = column_part(),
           "into"_a.noconvert().none() = nb::none(), "progress"_a.none() = nb::none(),
           nb::sig("def column(self, channel: str, part: Part = ..., into: "
                   "numpy.typing.NDArray[typing.Any] | None = None, "
                   "progress: collections.abc.Callable[[int, int], object] | None = None) -> Column"),
           "All values of a channel, or a part of them.")
      .def("columns", &columns, "channels"_a, "part"_a = column_part(), "progress"_a.none() = nb::none(),
           "Several channels, in one pass over the files.")
      .def("column_chunks", &column_chunks, "channel"_a, "bytes"_a, "part"_a = column_part(),
           "A column in chunks of about so many bytes.")
      .def(
          "layout",
          [](dataset_handle& self, const std::string& channel, const column_part& part) {
            const column_layout layout =
                reading_of(self, [&](dataset& data, const reading_controls& controls) {
                  return data.layout(channel, with_controls(part, controls));
                });
            std::vector<std::pair<std::string, std::size_t>> dimensions;
            for (const dimension_size& one : layout.dimensions)
              dimensions.emplace_back(dimension_name(one.dimension), one.size);
            return std::tuple(layout.kind, std::string(element_name(layout.element)), layout.rows,
                              dimensions);
          },
          "channel"_a, "part"_a = column_part(),
          "Kind, element type, number of rows, and names and sizes of the dimensions of a row.");
}

event_options options_of_events(std::size_t first, std::optional<std::size_t> count, std::size_t step,
                                bool backward) {
  event_options options;
  options.order = backward ? event_order::backward : event_order::forward;
  options.first = first;
  options.count = count;
  options.step = step;
  return options;
}

event_iterator* events(dataset_handle& self, std::size_t first, std::optional<std::size_t> count,
                       std::size_t step, bool backward, const progress_callback& progress) {
  return new event_iterator(self.get(), options_of_events(first, count, step, backward), progress);
}

std::optional<event_handle> handle_of(std::optional<event>&& found) {
  if (!found) return std::nullopt;
  return event_handle(std::move(*found));
}

void bind_events(dataset_class& bound) {
  bound
      .def("events", &events, "first"_a = 0, "count"_a.none() = nb::none(), "step"_a = 1,
           "backward"_a = false, "progress"_a.none() = nb::none(),
           "The events of the selection, in order or backward.")
      .def(
          "at_number",
          [](dataset_handle& self, std::uint32_t number) {
            return handle_of(reading_of(self, [&](dataset& data, const reading_controls& controls) {
              return data.at(number, controls.stop);
            }));
          },
          "number"_a, "The event with a number; None if there is none.")
      .def(
          "at_time_us",
          [](dataset_handle& self, std::int64_t time) {
            const time_stamp wanted = time_of(time);
            return handle_of(reading_of(self, [&](dataset& data, const reading_controls& controls) {
              return data.at(wanted, controls.stop);
            }));
          },
          "time"_a,
          "The event at a time, the nearest within the selection's tolerance; None if there is none.");
}

template <class Named>
nb::dict by_channel(const std::vector<Named>& digests) {
  nb::dict made;
  for (const Named& one : digests)
    made[nb::str(one.channel.c_str(), one.channel.size())] = nb::cast(one.digest);
  return made;
}

void bind_digests(dataset_class& bound) {
  bound
      .def(
          "digest",
          [](dataset_handle& self, const progress_callback& progress) {
            return by_channel(reading_of(
                self,
                [](dataset& data, const reading_controls& controls) {
                  return data.digest({controls.stop, controls.progress});
                },
                progress));
          },
          "progress"_a.none() = nb::none(),
          nb::sig("def digest(self, progress: collections.abc.Callable[[int, int], object] | None = None) "
                  "-> dict[str, Digest]"),
          "The digest of each channel over the selection: reads everything.")
      .def(
          "value_digests",
          [](dataset_handle& self, const progress_callback& progress) {
            return by_channel(reading_of(
                self,
                [](dataset& data, const reading_controls& controls) {
                  return data.value_digests({controls.stop, controls.progress});
                },
                progress));
          },
          "progress"_a.none() = nb::none(),
          nb::sig("def value_digests(self, progress: collections.abc.Callable[[int, int], object] | None = "
                  "None) -> dict[str, ValueDigest]"),
          "The digest of each channel's values over the selection: reads everything.");
}

std::vector<channel_statistics> statistics(dataset_handle& self, const std::optional<std::string>& channel,
                                           const progress_callback& progress) {
  return reading_of(
      self,
      [&](dataset& data, const reading_controls& controls) {
        const statistics_options options{controls.stop, controls.progress};
        return channel ? std::vector{data.statistics(*channel, options)} : data.statistics(options);
      },
      progress);
}

void bind_summaries(dataset_class& bound) {
  bound
      .def("statistics", &statistics, "channel"_a.none() = nb::none(), "progress"_a.none() = nb::none(),
           "Statistics of a channel, or of all of them.")
      .def(
          "envelope",
          [](dataset_handle& self, const std::string& channel, std::size_t bins, bin_axis axis,
             std::optional<std::int64_t> from, std::optional<std::int64_t> to,
             const progress_callback& progress) {
            return reading_of(
                self,
                [&](dataset& data, const reading_controls& controls) {
                  return data.envelope(channel, {axis, bins, from, to, controls.stop, controls.progress});
                },
                progress);
          },
          "channel"_a, "bins"_a = 1000, "axis"_a = bin_axis::events, "first"_a.none() = nb::none(),
          "last"_a.none() = nb::none(), "progress"_a.none() = nb::none())
      .def(
          "histogram",
          [](dataset_handle& self, const std::string& channel, std::size_t bins,
             std::optional<double> least, std::optional<double> greatest,
             const progress_callback& progress) {
            return reading_of(
                self,
                [&](dataset& data, const reading_controls& controls) {
                  return data.histogram(channel, {bins, least, greatest, controls.stop, controls.progress});
                },
                progress);
          },
          "channel"_a, "bins"_a = 100, "least"_a.none() = nb::none(), "greatest"_a.none() = nb::none(),
          "progress"_a.none() = nb::none());
}

void bind_lists(nb::module_& module) {
  nb::class_<dataset_channel>(module, "DatasetChannel", "One channel of a dataset.")
      .def_ro("label", &dataset_channel::label)
      .def_ro("name", &dataset_channel::name)
      .def_ro("member", &dataset_channel::member)
      .def_ro("is_slow", &dataset_channel::is_slow)
      .def_ro("entries", &dataset_channel::entries, "In all files, whatever the limits of the selection.")
      .def_ro("files", &dataset_channel::files)
      .def_ro("data_types", &dataset_channel::data_types)
      .def_ro("event_types", &dataset_channel::event_types);
  nb::class_<dataset_file>(module, "DatasetFile", "One file of a dataset.")
      .def_ro("path", &dataset_file::path)
      .def_ro("generation", &dataset_file::generation)
      .def_ro("refusal", &dataset_file::refusal)
      .def_ro("problem", &dataset_file::problem)
      .def_ro("is_context", &dataset_file::is_context, "It is read for slow values alone.");
}

}  // namespace

void bind_dataset(nb::module_& module) {
  bind_lists(module);
  dataset_class bound(module, "Dataset", "Raw files opened by a selection.");
  bind_opening(bound);
  bind_tables(bound);
  bind_columns(module, bound);
  bind_events(bound);
  bind_digests(bound);
  bind_summaries(bound);
}

}  // namespace ravo::python
