// The XML of channel descriptions: the input is the text. What is loaded is printed, and what is stored
// again loads as the same.
#include <cstring>
#include <string>
#include <vector>

#include "expect.h"
#include "input.h"
#include "quiet.h"
#include "ravo_evutl.h"
#include "ravo_xml.h"

namespace ravo::fuzz {
namespace {

class descriptions {
 public:
  ~descriptions() { ravo_free_chan_descr(&list_); }

  int load(const std::string& xml) {
    ravo_xml_chan_descr_header_2010 head{RAVO_XML_CHAN_DESCR_PATTERN,
                                         static_cast<std::int32_t>(sizeof head + xml.size())};
    const exact_copy table(std::string(reinterpret_cast<const char*>(&head), sizeof head) + xml);
    return ravo_load_chan_descr(table.as<ravo_xml_chan_descr_header_2010>(), &list_);
  }
  const std::vector<chan_descr_2010*>& list() const { return list_; }

 private:
  std::vector<chan_descr_2010*> list_;
};

}  // namespace
}  // namespace ravo::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  be_quiet();
  descriptions first;
  if (first.load(std::string(reinterpret_cast<const char*>(data), size)) != 0) {
    expect(first.list().empty(), "what is refused leaves no description");
    return 0;
  }
  print_ravo_chan_descr(&first.list());
  const std::string stored = ravo_store_chan_descr(first.list());
  descriptions second;
  expect(second.load(stored) == 0, "stored descriptions can be loaded");
  expect(second.list().size() == first.list().size(), "as many descriptions are stored as were loaded");
  expect(ravo_store_chan_descr(second.list()) == stored, "descriptions are stored as they were");
  return 0;
}
