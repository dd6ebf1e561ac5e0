// ravo digest: a fingerprint of each channel over a selection, which shows whether
// two ways of reading, two machines or two copies of files give the same values.
#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "common/dataset_session.h"
#include "common/failure.h"
#include "common/reading.h"
#include "common/request_options.h"
#include "ravo_dataset/digest.h"
#include "verbs/verb.h"

namespace ravo::tool {
namespace {

struct options : dataset_arguments {
  bool classic = false;
};

void print(const std::vector<named_digest>& digests, print_form form, output& out) {
  for (const named_digest& one : digests)
    if (form == print_form::lines)
      out.print(json_line(
          {{"channel", one.channel}, {"digest", one.digest.to_text()}, {"values", one.digest.values()}}));
    else
      out.format("{}  {:>10}  {}\n", one.digest.to_text(), one.digest.values(), one.channel);
}

// Digests of what the reader delivers. The reader does not say which values are
// missing, so digests of damaged channels differ from those of the dataset layer.
void digest_by_reader(const options& asked, const asked_selection& what, output& out) {
  if (what.wanted.channels.empty())
    throw usage_failure("--classic: --channel is required; -c '*' is all channels");
  std::vector<named_digest> digests;
  std::map<const read_channel*, std::size_t> places;
  check_that_the_reader_can(what.wanted, asked.what, asked.limits);
  read_events(what, 0, out, [&](const read_event& event) {
    for (const read_entry& entry : event.entries) {
      if (entry.held) continue;
      const auto [place, is_new] = places.try_emplace(entry.channel, digests.size());
      if (is_new) digests.push_back({entry.channel->key(), {}});
      if (entry.block)
        digests[place->second].digest.add(entry.id, value_status::ok, std::as_bytes(entry.block->data));
    }
  });
  std::sort(digests.begin(), digests.end(),
            [](const named_digest& a, const named_digest& b) { return a.channel < b.channel; });
  print(digests, asked.form(), out);
}

void run(const options& asked, output& out) {
  const asked_selection what = selection_of(asked.what);
  if (asked.classic) return digest_by_reader(asked, what, out);
  dataset_session session(what, asked, "reading", out);
  session.run([&](dataset& data) {
    digest_options controls;
    session.set_controls(controls);
    const auto digests = [&] {
      try {
        return data.digest(controls);
      } catch (...) {
        session.set_ledger_of_nothing_printed(data.ledger());
        throw;
      }
    }();
    session.set_ledger(data.ledger());
    session.hide_progress();
    print(digests, asked.form(), out);
  });
}

}  // namespace

verb digest_verb(CLI::App& tool) {
  CLI::App* command =
      tool.add_subcommand("digest", "A fingerprint of each channel, to compare readings by");
  const auto asked = std::make_shared<options>();
  add_dataset_options(*command, *asked, "One JSON object a channel, and a last one with the ledger");
  command
      ->add_flag("--classic", asked->classic,
                 "Of what the reader delivers instead of the dataset layer: the same for sound files")
      ->group("Reader");
  command->footer(std::string(R"(Examples:
  ravo digest demo
  ravo digest demo -c 'LINAC/BPM/*' --threads 1
  ravo digest linac/main run=1207 data=/mirror/linac chan=LINAC/CAMERA/*
  diff <(ravo digest here -c '*' 2>&-) <(ravo digest there -c '*' 2>&-)

A digest is of each value its event, its status and all bytes of its data, in any order: how many threads
read, which way, and how the files are cut does not matter. The number after it is that of the values.

)") + selection_help +
                  "\n" + time_help);
  return {command, [asked](output& out) { run(*asked, out); }};
}

}  // namespace ravo::tool
