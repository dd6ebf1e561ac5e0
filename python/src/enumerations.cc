// The enumerations of the dataset layer as IntEnum classes, with the same numbers.
#include "binding.h"
#include "ravo_dataset.h"

namespace ravo::python {
namespace {

void bind_statuses(nb::module_& module) {
  nb::enum_<value_status>(module, "Status", nb::is_arithmetic(),
                          "The outcome of one value. Arrays of statuses hold its numbers as uint8.")
      .value("OK", value_status::ok)
      .value("NOT_RECORDED", value_status::not_recorded)
      .value("HELD", value_status::held)
      .value("STALE", value_status::stale)
      .value("FILE_MISSING", value_status::file_missing)
      .value("TRUNCATED", value_status::truncated)
      .value("BAD_CHECKSUM", value_status::bad_checksum)
      .value("CANNOT_INFLATE", value_status::cannot_inflate)
      .value("CANNOT_CONVERT", value_status::cannot_convert)
      .value("TYPE_CHANGED", value_status::type_changed)
      .value("MISDIRECTED", value_status::misdirected)
      .value("EVENT_DISPUTED", value_status::event_disputed)
      .value("BLOCK_TOO_LARGE", value_status::block_too_large)
      .def_prop_ro("text", &value_status_text, "The status in a few words.")
      .def_prop_ro(
          "has_value", [](value_status status) { return has_value(status); },
          "Whether a value with this status can be used: OK, HELD or STALE.")
      .def_prop_ro(
          "is_missing", [](value_status status) { return is_missing(status); },
          "Whether a value that the file should hold could not be delivered.");
  nb::enum_<index_status>(module, "IndexStatus", nb::is_arithmetic(),
                          "What the tables of the files say of one value, before it is decoded.")
      .value("RECORDED", index_status::recorded)
      .value("NOT_RECORDED", index_status::not_recorded)
      .value("HELD", index_status::held)
      .value("STALE", index_status::stale)
      .value("FILE_MISSING", index_status::file_missing)
      .value("TRUNCATED", index_status::truncated)
      .value("MISDIRECTED", index_status::misdirected)
      .value("EVENT_DISPUTED", index_status::event_disputed)
      .value("UNKNOWN", index_status::unknown)
      .def_prop_ro("text", &index_status_text, "The status in a few words.");
}

void bind_causes(nb::module_& module) {
  nb::enum_<missing_cause>(module, "MissingCause", nb::is_arithmetic(), "Why a value is missing.")
      .value("FILE_MISSING", missing_cause::file_missing)
      .value("TRUNCATED", missing_cause::truncated)
      .value("BAD_CHECKSUM", missing_cause::bad_checksum)
      .value("CANNOT_INFLATE", missing_cause::cannot_inflate)
      .value("CANNOT_CONVERT", missing_cause::cannot_convert)
      .value("TYPE_CHANGED", missing_cause::type_changed)
      .value("MISDIRECTED", missing_cause::misdirected)
      .value("EVENT_DISPUTED", missing_cause::event_disputed)
      .value("BLOCK_TOO_LARGE", missing_cause::block_too_large)
      .value("NO_EVENT_HEADER", missing_cause::no_event_header)
      .value("SECOND_OF_EVENT", missing_cause::second_of_event)
      .def_prop_ro("text", &missing_cause_text, "The cause in a few words.");
  nb::enum_<file_refusal>(module, "FileRefusal", nb::is_arithmetic(), "Why a file was left out as a whole.")
      .value("NONE", file_refusal::none)
      .value("MACHINE_ERROR", file_refusal::machine_error)
      .value("MISSING", file_refusal::missing)
      .value("STILL_WRITTEN", file_refusal::still_written)
      .value("NOT_REGULAR", file_refusal::not_regular)
      .value("NOT_A_RAW_FILE", file_refusal::not_a_raw_file)
      .value("DAMAGED_TABLES", file_refusal::damaged_tables)
      .value("LOST_WHILE_OPEN", file_refusal::lost_while_open)
      .def_prop_ro("text", &file_refusal_text, "The reason in a few words.");
  nb::enum_<problem_reason>(module, "ProblemReason", nb::is_arithmetic(),
                            "What a problem of a reading is about.")
      .value("RUNS_WITHOUT_FILES", problem_reason::runs_without_files)
      .value("DAMAGED_CATALOGUE", problem_reason::damaged_catalogue)
      .value("MACHINE_ERROR", problem_reason::machine_error);
}

void bind_kinds(nb::module_& module) {
  nb::enum_<value_kind>(module, "Kind", nb::is_arithmetic(), "What kind of data a value is.")
      .value("NONE", value_kind::none)
      .value("SPECTRUM", value_kind::spectrum)
      .value("ROI", value_kind::roi)
      .value("IMAGE", value_kind::image)
      .value("NAME_VALUE", value_kind::name_value)
      .value("TEXT", value_kind::text)
      .value("UPDATE", value_kind::update)
      .value("OTHER", value_kind::other);
  nb::enum_<ravo_file_generation>(module, "Generation", nb::is_arithmetic(),
                                  "The generation of a raw file.")
      .value("OLDER", ravo_file_generation::older)
      .value("CURRENT", ravo_file_generation::current);
  nb::enum_<block_compression>(module, "Compression", nb::is_arithmetic(), "How a block is compressed.")
      .value("NONE", block_compression::none)
      .value("ZLIB", block_compression::zlib)
      .value("LZO1X", block_compression::lzo1x)
      .value("UNKNOWN", block_compression::unknown);
  nb::enum_<found_by>(module, "FoundBy", nb::is_arithmetic(),
                      "Why a file belongs to the answer to a selection.")
      .value("LISTING", found_by::listing)
      .value("CATALOGUE", found_by::catalogue)
      .value("NAME", found_by::name)
      .value("EARLIER_NAME", found_by::earlier_name)
      .value("LATER_NAME", found_by::later_name);
}

void bind_choices(nb::module_& module) {
  nb::enum_<column_rows>(module, "Rows", nb::is_arithmetic(), "Which rows a column has.")
      .value("RECORDED", column_rows::recorded, "Every event with an entry of the channel.")
      .value("EVENTS", column_rows::events, "Every event of the selection.");
  nb::enum_<bin_axis>(module, "BinAxis", nb::is_arithmetic(), "What the bins of an envelope divide.")
      .value("EVENTS", bin_axis::events)
      .value("TIME", bin_axis::time);
  nb::enum_<synch_mode>(module, "Synch", nb::is_arithmetic(),
                        "How entries of channels are matched to an event.")
      .value("BY_NUMBER", synch_mode::by_number)
      .value("BY_TIME", synch_mode::by_time);
  nb::enum_<join_policy>(module, "Join", nb::is_arithmetic(), "Which events are in a selection.")
      .value("ANY", join_policy::any)
      .value("ALL", join_policy::all)
      .value("WITH", join_policy::with);
  nb::enum_<slow_policy>(module, "Slow", nb::is_arithmetic(),
                         "What a slow channel has at other channels' events.")
      .value("NONE", slow_policy::none)
      .value("HOLD", slow_policy::hold)
      .value("NEAREST", slow_policy::nearest);
}

}  // namespace

void bind_enumerations(nb::module_& module) {
  bind_statuses(module);
  bind_causes(module);
  bind_kinds(module);
  bind_choices(module);
}

}  // namespace ravo::python
