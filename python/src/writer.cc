// The writer of raw files, and the data of blocks from NumPy arrays.
#include <nanobind/ndarray.h>
#include <nanobind/stl/map.h>

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <stdexcept>

#include "ravo_daq/payloads.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"
#include "ravo_data_types.h"
#include "ravo_file_generation.h"
#include "ravo_run_catalogue_builder.h"

#include "binding.h"
#include "times.h"
#include "translated.h"

namespace ravo::python {
namespace {

/// The system refused to write.
struct write_failed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <class Element>
using values_of = nb::ndarray<const Element, nb::ndim<1>, nb::c_contig, nb::device::cpu>;

template <class Element>
std::span<const Element> span_of(const values_of<Element>& values) {
  return {values.data(), values.size()};
}

nb::bytes bytes_of(const payload_bytes& block) { return nb::bytes(block.data(), block.size()); }

const data_type& type_of(const std::string& name) {
  const auto found = std::find_if(std::begin(data_types), std::end(data_types),
                                  [&name](const data_type& one) { return one.name == name; });
  if (found == std::end(data_types)) throw std::invalid_argument("There is no data type \"" + name + "\"");
  return *found;
}

spectrum_summary summary_of(const std::string& word) {
  if (word == "none") return spectrum_summary::none;
  if (word == "means") return spectrum_summary::means;
  if (word == "all") return spectrum_summary::means_and_statistics;
  throw std::invalid_argument("summary is \"" + word + "\"; it is none, means or all");
}

ravo_compression compression_of(const std::string& word) {
  if (word == "none") return ravo_compression::none;
  if (word == "zlib") return ravo_compression::zlib;
  if (word == "lzo") return ravo_compression::lzo1x;
  throw std::invalid_argument("compression is \"" + word + "\"; it is none, zlib or lzo");
}

/// The event that carries data of a type.
RAVO_EVTYPE event_type_of(const data_type& type) {
  if (type.code == RAVO_BOR_BLOCK || type.code == RAVO_BOR_BLOCK_2010) return RAVO_EV_BOR;
  if (type.code == RAVO_EOR_BLOCK || type.code == RAVO_EOR_BLOCK_2010) return RAVO_EV_EOR;
  if (type.shape == payload_shape::environment) return RAVO_EV_ENV;
  if (type.shape == payload_shape::update || type.shape == payload_shape::update_older) return RAVO_EV_UPD;
  return RAVO_EV_NORMAL;
}

/// What a channel of a type holds, by the name that Channel kinds have in Python; null: no channel has the
/// type.
const char* kind_of(const data_type& type) {
  switch (type.shape) {
    case payload_shape::none:
    case payload_shape::env_dictionary:
      return nullptr;
    case payload_shape::update:
    case payload_shape::update_older:
      return "slow";
    case payload_shape::environment:
      return "environment";
    case payload_shape::spectrum:
    case payload_shape::spectrum_older:
      return "spectrum";
    case payload_shape::image:
    case payload_shape::image_ext:
      return "image";
    case payload_shape::roi:
      return "profile";
    case payload_shape::name_value:
      return "name_value";
    case payload_shape::text:
      return "text";
  }
  return nullptr;
}

/// Kind and number of members of each data type that a channel of a generation may have.
std::map<std::string, std::pair<std::string, int>> data_types_of(ravo_file_generation generation) {
  const type_generation other =
      generation == ravo_file_generation::older ? type_generation::current : type_generation::older;
  std::map<std::string, std::pair<std::string, int>> types;
  for (const data_type& type : data_types)
    if (const char* const kind = kind_of(type); kind && type.generation != other)
      types.emplace(type.name, std::pair(kind, type.members));
  return types;
}

/// One channel's data of an event.
using numbered_block = std::pair<std::size_t, nb::bytes>;

/// A writer of either generation. Several threads may use it in turn.
class event_writer {
 public:
  event_writer(ravo_file_generation generation, const ravo_daq_writer_settings& settings,
               std::string server)
      : server_(std::move(server)) {
    if (generation == ravo_file_generation::older)
      writer_ = &older_.emplace();
    else
      writer_ = &current_.emplace();
    check(writer_->open(settings));
  }

  std::size_t add_channel(const std::string& name, const std::string& dtype, const std::string& compression,
                          int zlib_level, int env_index, const channel_words& words) {
    const std::lock_guard lock(mutex_);
    const data_type& type = type_of(dtype);
    const auto key = static_cast<std::int32_t>(event_types_.size() + 1);
    const writer_description description(name, type.code, event_type_of(type), key, words);
    ravo_daq_writer_channel channel;
    channel.name = name;
    channel.dtype = type.code;
    channel.compression = compression_of(compression);
    channel.zlib_level = zlib_level;
    channel.key = static_cast<std::uint32_t>(key);
    channel.env_index = env_index;
    channel.description = description.get();
    check(writer_->add_channel(channel));
    event_types_.push_back(event_type_of(type));
    return event_types_.size() - 1;
  }

  /// Blocks of different event types become events of the same number and time. After a failure within
  /// them the writer takes no more: no file gets a part of an event.
  void add_event(std::uint32_t number, std::int64_t time_us, const std::vector<numbered_block>& blocks) {
    const time_stamp time = time_of(time_us);
    std::map<RAVO_EVTYPE, std::vector<std::pair<std::size_t, std::span<const char>>>> by_type;
    for (const auto& [channel, bytes] : blocks)
      by_type[event_types_.at(channel)].emplace_back(channel, std::span(bytes.c_str(), bytes.size()));
    const nb::gil_scoped_release released;
    const std::lock_guard lock(mutex_);
    check_state();
    for (const RAVO_EVTYPE type : {RAVO_EV_BOR, RAVO_EV_NORMAL, RAVO_EV_UPD, RAVO_EV_ENV, RAVO_EV_EOR})
      if (const auto found = by_type.find(type); found != by_type.end()) {
        check(writer_->begin_event({number, type, time, 0, 0}));
        in_event_ = true;
        check(writer_->begin_server_block({server_, time, static_cast<std::int32_t>(number), 0, 0}));
        for (const auto& [channel, bytes] : found->second)
          check(writer_->add_data(static_cast<int>(channel), bytes.data(), bytes.size()));
        check(writer_->end_event());
      }
    in_event_ = false;
  }

  void close() {
    const nb::gil_scoped_release released;
    const std::lock_guard lock(mutex_);
    check_state();
    check(writer_->close());
  }

  std::vector<std::string> files() const {
    const std::lock_guard lock(mutex_);
    return writer_->get_files();
  }

 private:
  void check_state() const {
    if (in_event_)
      throw write_failed(
          "The writer has failed within an event, so it takes no more; what it has completed stays: go on "
          "with a new Writer, whose first_file is the next number");
  }

  void check(int status) const {
    if (status >= 0) return;
    if (status == RAVO_DAQ_WRITER_NO_MEMORY) throw std::bad_alloc();
    if (status == RAVO_DAQ_WRITER_IO) throw write_failed(writer_->get_last_error());
    throw std::invalid_argument(writer_->get_last_error());
  }

  std::optional<ravo_daq_writer> older_;
  std::optional<ravo_daq_writer_2010> current_;
  raw_writer* writer_ = nullptr;
  std::string server_;
  std::vector<RAVO_EVTYPE> event_types_;
  bool in_event_ = false;     ///< also after a failure within an event
  mutable std::mutex mutex_;  ///< guards the writer, the list of channels and the state
};

void bind_settings(nb::module_& module) {
  nb::class_<ravo_daq_writer_settings>(module, "WriterSettings", "Where files go and when one ends.")
      .def(nb::init<>())
      .def_rw("folder", &ravo_daq_writer_settings::folder)
      .def_rw("experiment", &ravo_daq_writer_settings::experiment)
      .def_rw("stream", &ravo_daq_writer_settings::stream)
      .def_rw("run", &ravo_daq_writer_settings::run)
      .def_rw("first_file", &ravo_daq_writer_settings::first_file)
      .def_rw("max_file_bytes", &ravo_daq_writer_settings::max_file_bytes)
      .def_rw("max_events", &ravo_daq_writer_settings::max_events);
  nb::class_<channel_words>(module, "ChannelWords", "What a file says about a channel.")
      .def(nb::init<>())
      .def_rw("description", &channel_words::description)
      .def_rw("units", &channel_words::units)
      .def_rw("axis", &channel_words::axis)
      .def_rw("axis_units", &channel_words::axis_units)
      .def_rw("server", &channel_words::server)
      .def_rw("subsystem", &channel_words::subsystem);
}

template <class Pixel>
void bind_frame(nb::module_& module, const char* name) {
  module.def(
      name,
      [](const std::string& dtype, values_of<Pixel> pixels, std::int32_t height, std::int32_t width,
         std::uint32_t number) {
        frame_form form;
        form.width = width;
        form.height = height;
        form.frame = form.event = number;
        return bytes_of(frame_payload(type_of(dtype).code, form, span_of(pixels)));
      },
      "dtype"_a, "pixels"_a, "height"_a, "width"_a, "number"_a);
}

void bind_payloads(nb::module_& module) {
  module.def(
      "spectrum_payload",
      [](const std::string& dtype, values_of<float> values, std::int32_t members, std::int32_t groups,
         std::int32_t samples, float start, float increment, float groups_increment,
         const std::string& summary) {
        const spectrum_form form{
            members, groups, samples, start, increment, groups_increment, summary_of(summary)};
        return bytes_of(spectrum_payload(type_of(dtype).code, form, span_of(values)));
      },
      "dtype"_a, "values"_a, "members"_a, "groups"_a, "samples"_a, "start"_a, "increment"_a,
      "groups_increment"_a, "summary"_a);
  module.def(
      "profile_payload",
      [](values_of<float> x, values_of<float> y) {
        return bytes_of(profile_payload(0, 0, span_of(x), span_of(y)));
      },
      "x"_a, "y"_a);
  bind_frame<std::uint8_t>(module, "frame_payload_8");
  bind_frame<std::uint16_t>(module, "frame_payload_16");
  bind_frame<std::uint32_t>(module, "frame_payload_32");
  module.def(
      "update_payload",
      [](const std::string& dtype, const std::string& property, std::int64_t time_us, float value) {
        return bytes_of(update_payload(type_of(dtype).code, property, time_of(time_us), value));
      },
      "dtype"_a, "property"_a, "time_us"_a, "value"_a);
  module.def(
      "environment_payload",
      [](std::int32_t index, std::int64_t time_us, float value) {
        return bytes_of(environment_payload(index, time_of(time_us), value));
      },
      "index"_a, "time_us"_a, "value"_a);
  module.def(
      "name_value_payload",
      [](const std::vector<std::pair<std::string, float>>& pairs) {
        std::vector<named_value> values;
        for (const auto& [name, value] : pairs) values.push_back({name, value});
        return bytes_of(name_value_payload(values));
      },
      "pairs"_a);
  module.def(
      "text_payload", [](const std::string& text) { return bytes_of(text_payload(text)); }, "text"_a);
}

}  // namespace

void bind_writer(nb::module_& module) {
  translate_as<write_failed>("WriteError");
  bind_settings(module);
  bind_payloads(module);
  nb::class_<event_writer>(module, "EventWriter", "Writes raw files event by event.")
      .def(nb::init<ravo_file_generation, const ravo_daq_writer_settings&, std::string>(), "generation"_a,
           "settings"_a, "server"_a)
      .def("add_channel", &event_writer::add_channel, "name"_a, "dtype"_a, "compression"_a, "zlib_level"_a,
           "env_index"_a, "words"_a)
      .def("add_event", &event_writer::add_event, "number"_a, "time_us"_a, "blocks"_a)
      .def("close", &event_writer::close)
      .def_prop_ro("files", &event_writer::files);
  module.def("data_types", &data_types_of, "generation"_a,
             "Kind and number of members of each data type that a channel of a generation may have.");
  module.def(
      "extend_catalogue",
      [](const std::string& folder, const std::string& catalogue, const std::string& experiment) {
        const nb::gil_scoped_release released;
        const catalogue::build_result built = catalogue::build({folder, catalogue, experiment, -1, 1}, {});
        std::vector<std::string> problems;
        for (const catalogue::file_problem& one : built.problems)
          problems.push_back(one.file + ": " + one.text);
        return problems;
      },
      "folder"_a, "catalogue"_a, "experiment"_a,
      "Enters the raw files of a folder. Returns what could not be done.");
}

}  // namespace ravo::python
