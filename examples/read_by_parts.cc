// Cuts a selection into parts, reads each by its text alone, as other machines would, and adds up what they
// report.
#include <ravo_dataset.h>

#include <cstdio>
#include <cstdlib>

namespace {

struct report {
  std::string ledger, digests;  // lines of JSON
};

report read_part(const std::string& text) {
  const auto part = ravo::dataset::open(text);
  const std::string digests = ravo::digests_to_json(part.digest());
  return {part.ledger().to_json(), digests};
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) return std::fprintf(stderr, "usage: read_by_parts SELECTION PARTS\n"), 2;
  ravo::partition_options cut;
  cut.count = std::strtoul(argv[2], nullptr, 10);
  ravo::read_ledger ledger;
  std::vector<ravo::named_digest> digests;
  for (const ravo::partition& part : ravo::dataset::open(argv[1]).partitions(cut)) {
    std::printf("%s\n", part.text().c_str());
    const report of_part = read_part(part.text());
    ledger.add(ravo::read_ledger::from_json(of_part.ledger));
    ravo::add_digests(digests, ravo::digests_from_json(of_part.digests));
  }
  std::printf("%s", ledger.to_text().c_str());
  for (const ravo::named_digest& one : digests)
    std::printf("%s %s\n", one.digest.to_text().c_str(), one.channel.c_str());
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
