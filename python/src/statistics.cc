// What is computed while blocks are decoded: statistics, envelopes, histograms; and availability.
#include "ravo_dataset/statistics.h"

#include <algorithm>

#include "arrays.h"
#include "ravo_dataset/availability.h"
#include "ravo_dataset/envelope.h"
#include "ravo_dataset/histogram.h"
#include "times.h"

namespace ravo::python {
namespace {

/// The same with some of its series only, in its own order.
template <class Summary>
Summary of_series(const Summary& whole, const std::vector<std::string>& names) {
  Summary part = whole;
  std::erase_if(part.series, [&](const auto& one) {
    return std::find(names.begin(), names.end(), one.name) == names.end();
  });
  return part;
}

constexpr const char* of_series_doc =
    "The same with the series of these names only: members, profiles, records.";

void bind_numbers(nb::module_& module) {
  nb::class_<series_statistics>(module, "SeriesStatistics", "The numbers of one member, profile or record.")
      .def_ro("name", &series_statistics::name)
      .def_prop_ro("count", [](const series_statistics& self) { return self.numbers.count; })
      .def_prop_ro("nan", [](const series_statistics& self) { return self.numbers.nan; })
      .def_prop_ro("infinite", [](const series_statistics& self) { return self.numbers.infinite; })
      .def_prop_ro("mean", [](const series_statistics& self) { return self.numbers.mean; })
      .def_prop_ro("deviation", [](const series_statistics& self) { return self.numbers.deviation; })
      .def_prop_ro("least", [](const series_statistics& self) { return self.numbers.least; })
      .def_prop_ro("greatest", [](const series_statistics& self) { return self.numbers.greatest; });
  nb::class_<gap_statistics>(module, "Gaps",
                             "Places where the distance to the next value is more than usual.")
      .def_ro("count", &gap_statistics::count)
      .def_ro("events", &gap_statistics::events)
      .def_ro("longest", &gap_statistics::longest)
      .def_ro("after_event", &gap_statistics::after_event);
}

void bind_channel_statistics(nb::module_& module) {
  nb::class_<channel_statistics>(module, "Statistics", "What a channel holds over a selection.")
      .def_ro("channel", &channel_statistics::channel)
      .def_ro("values", &channel_statistics::values, "Recorded values, also those that cannot be read.")
      .def(
          "count_of",
          [](const channel_statistics& self, value_status status) {
            return self.by_status.at(static_cast<std::size_t>(status));
          },
          "status"_a, "How many of the recorded values have a status.")
      .def_ro("without_numbers", &channel_statistics::without_numbers)
      .def_ro("texts", &channel_statistics::texts)
      .def_ro("stored_bytes", &channel_statistics::stored_bytes)
      .def_ro("decoded_bytes", &channel_statistics::decoded_bytes)
      .def_prop_ro("first_event", [](const channel_statistics& self) { return self.first.event_number; })
      .def_prop_ro("last_event", [](const channel_statistics& self) { return self.last.event_number; })
      .def_prop_ro("first_time_us",
                   [](const channel_statistics& self) { return ravo::microseconds_of(self.first.time); })
      .def_prop_ro("last_time_us",
                   [](const channel_statistics& self) { return ravo::microseconds_of(self.last.time); })
      .def_ro("gaps", &channel_statistics::gaps)
      .def_ro("series", &channel_statistics::series)
      .def("of_series", &of_series<channel_statistics>, "names"_a, of_series_doc)
      .def_ro("ledger", &channel_statistics::ledger)
      .def_prop_ro("rate", &channel_statistics::rate, "Values a second; None of a single one.");
}

template <class Number>
auto numbers_of_bins(Number envelope_numbers::*which) {
  return [which](const envelope_series& self) {
    return array_of_each(self.bins, [which](const envelope_numbers& bin) { return bin.*which; });
  };
}

void bind_envelope(nb::module_& module) {
  nb::class_<envelope_series>(module, "EnvelopeSeries", "The numbers of one series, by bin.")
      .def_ro("name", &envelope_series::name)
      .def_prop_ro("count", numbers_of_bins(&envelope_numbers::count), own_memory)
      .def_prop_ro("nan", numbers_of_bins(&envelope_numbers::nan), own_memory)
      .def_prop_ro("infinite", numbers_of_bins(&envelope_numbers::infinite), own_memory)
      .def_prop_ro("least", numbers_of_bins(&envelope_numbers::least), own_memory)
      .def_prop_ro("mean", numbers_of_bins(&envelope_numbers::mean), own_memory)
      .def_prop_ro("greatest", numbers_of_bins(&envelope_numbers::greatest), own_memory);
  nb::class_<channel_envelope>(module, "Envelope",
                               "Least, mean, greatest and worst status of a channel, by bin.")
      .def_ro("channel", &channel_envelope::channel)
      .def_ro("axis", &channel_envelope::axis)
      .def_prop_ro(
          "edges", [](const channel_envelope& self) { return array_over(self.edges); },
          "Bin i is from edges[i] up to but without edges[i + 1], int64.")
      .def_prop_ro(
          "values",
          [](const channel_envelope& self) {
            return array_of_each(self.bins, [](const envelope_bin& bin) { return bin.values; });
          },
          own_memory)
      .def_prop_ro(
          "missing",
          [](const channel_envelope& self) {
            return array_of_each(self.bins, [](const envelope_bin& bin) { return bin.missing; });
          },
          own_memory)
      .def_prop_ro(
          "worst",
          [](const channel_envelope& self) {
            return array_of_each(
                self.bins, [](const envelope_bin& bin) { return static_cast<std::uint8_t>(bin.worst); });
          },
          own_memory, "The worst status of each bin: numbers of Status, uint8.")
      .def_ro("series", &channel_envelope::series)
      .def("of_series", &of_series<channel_envelope>, "names"_a, of_series_doc)
      .def_ro("ledger", &channel_envelope::ledger);
}

void bind_histogram(nb::module_& module) {
  nb::class_<number_histogram>(module, "HistogramSeries", "How often which numbers of one series occur.")
      .def_ro("name", &number_histogram::name)
      .def_prop_ro("counts", [](const number_histogram& self) { return array_over(self.counts); })
      .def_prop_ro(
          "edges",
          [](const number_histogram& self) {
            std::vector<double> edges;
            for (std::size_t bin = 0; !self.counts.empty() && bin <= self.counts.size(); ++bin)
              edges.push_back(self.edge(bin));
            return array_from(std::move(edges));
          },
          own_memory)
      .def_ro("below", &number_histogram::below)
      .def_ro("above", &number_histogram::above)
      .def_ro("nan", &number_histogram::nan);
  nb::class_<channel_histogram>(module, "Histogram", "How often a channel has which numbers.")
      .def_ro("channel", &channel_histogram::channel)
      .def_ro("series", &channel_histogram::series)
      .def("of_series", &of_series<channel_histogram>, "names"_a, of_series_doc)
      .def_ro("ledger", &channel_histogram::ledger);
}

void bind_availability(nb::module_& module) {
  const auto of_bins = [](auto which) {
    return [which](const channel_availability& self) {
      return array_of_each(self.bins, [which](const availability_bin& bin) { return bin.*which; });
    };
  };
  nb::class_<channel_availability>(module, "ChannelAvailability",
                                   "How many values a channel has when, by bin.")
      .def_ro("channel", &channel_availability::channel)
      .def_prop_ro("recorded", of_bins(&availability_bin::recorded), own_memory)
      .def_prop_ro("damaged", of_bins(&availability_bin::damaged), own_memory)
      .def_prop_ro(
          "is_file_missing",
          [](const channel_availability& self) {
            return array_of_each(
                self.bins, [](const availability_bin& bin) { return std::uint8_t{bin.is_file_missing}; });
          },
          own_memory, "1 where a file that cannot be read has, or may have, values of the channel, uint8.");
  nb::class_<availability_map>(module, "Availability",
                               "When which channels have values, by the tables of the files.")
      .def_prop_ro(
          "edges_us", [](const availability_map& self) { return array_over(self.edges); },
          "Bin i is from edges[i] up to but without edges[i + 1], in microseconds since 1970, int64.")
      .def_ro("channels", &availability_map::channels);
}

}  // namespace

void bind_statistics(nb::module_& module) {
  bind_numbers(module);
  bind_channel_statistics(module);
  bind_envelope(module);
  bind_histogram(module);
  bind_availability(module);
}

}  // namespace ravo::python
