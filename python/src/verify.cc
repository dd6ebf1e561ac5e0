// The verification: whether raw files are sound.
#include "ravo_verify.h"

#include "interruptible.h"
#include "translated.h"

namespace ravo::python {
namespace {

verification_report verify_watched(const verification& what, const progress_callback& progress) {
  return run_interruptible(
      [&](const reading_controls& controls) {
        verification_observer observer;
        if (controls.progress)
          observer.progress = [&](std::uint64_t done, std::uint64_t total) {
            controls.progress({done, total});
          };
        return verify(what, controls.stop, observer);
      },
      progress);
}

const char* name_of_verdict(const verified_file& file) {
  switch (file.verdict) {
    case file_verdict::good:
      return "good";
    case file_verdict::odd:
      return "odd";
    case file_verdict::damaged:
      return "damaged";
    case file_verdict::unread:
      return "unread";
  }
  return "";
}

void bind_report(nb::module_& module) {
  nb::class_<finding>(module, "Finding", "Something that is wrong with a file.")
      .def_ro("file", &finding::file)
      .def_ro("kind", &finding::kind)
      .def_prop_ro("severity", [](const finding& what) { return name_of(what.how_bad); })
      // What comes out of a file may be no UTF-8.
      .def_prop_ro("channel",
                   [](const finding& what) { return nb::bytes(what.channel.data(), what.channel.size()); })
      .def_ro("event", &finding::event)
      .def_ro("offset", &finding::offset)
      .def_ro("count", &finding::count)
      .def_ro("text", &finding::text)
      .def_prop_ro("detail",
                   [](const finding& what) { return nb::bytes(what.detail.data(), what.detail.size()); })
      .def_ro("remedy", &finding::remedy)
      .def("to_text", [](const finding& what) { return to_text(what); })
      .def("to_json", [](const finding& what) { return to_json(what); });
  nb::class_<verified_file>(module, "VerifiedFile", "A file that was checked.")
      .def_ro("path", &verified_file::path)
      .def_prop_ro("verdict", &name_of_verdict)
      .def_ro("bytes", &verified_file::bytes)
      .def_ro("events", &verified_file::events)
      .def_ro("blocks", &verified_file::blocks)
      .def_ro("findings", &verified_file::findings)
      .def_ro("further_findings", &verified_file::further_findings);
  nb::class_<verification_report>(module, "VerificationReport", "What a verification found.")
      .def_ro("files", &verification_report::files)
      .def_ro("findings", &verification_report::findings)
      .def_ro("absent_left_out", &verification_report::absent_left_out)
      .def_ro("runs", &verification_report::runs)
      .def_prop_ro("channels_of_all_runs", [](const verification_report& report) {
        return std::vector<std::string>(report.channels_of_all_runs.begin(),
                                        report.channels_of_all_runs.end());
      });
}

}  // namespace

void bind_verify(nb::module_& module) {
  translate_as<verification_error>("VerificationError");
  bind_report(module);
  nb::class_<verification>(module, "Verification", "What is checked.")
      .def(nb::init<>())
      .def_rw("paths", &verification::paths)
      .def(
          "set_runs",
          [](verification& what, const std::string& catalogue, const std::string& experiment,
             const std::string& stream, int first, int last) {
            what.runs = catalogue_runs{catalogue, experiment, stream, first, last};
          },
          "catalogue"_a, "experiment"_a, "stream"_a, "first"_a, "last"_a)
      .def_prop_rw(
          "is_quick", [](const verification& what) { return what.depth == verification_depth::heads; },
          [](verification& what, bool is_quick) {
            what.depth = is_quick ? verification_depth::heads : verification_depth::blocks;
          })
      .def(
          "expect",
          [](verification& what, const std::string& channel) { what.expected_channels.insert(channel); },
          "channel"_a)
      .def_rw("threads", &verification::threads);
  module.attr("USUAL_CATALOGUE") = catalogue_runs{}.directory;
  module.def("verify", &verify_watched, "what"_a, "progress"_a.none() = nb::none());
}

}  // namespace ravo::python
