// The memory of descriptions, which is reported before they are loaded: never less than they take, and not
// many times as much. Each is loaded in a process of its own, which measures itself.
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include "ravo_xml.h"

namespace {

/// The header of a file's descriptions with this text.
std::vector<char> header_of(const std::string& text) {
  std::vector<char> bytes(8 + text.size() + 1);
  const std::uint32_t pattern = RAVO_XML_CHAN_DESCR_PATTERN;
  const auto length = static_cast<std::int32_t>(8 + text.size());
  std::memcpy(bytes.data(), &pattern, 4);
  std::memcpy(bytes.data() + 4, &length, 4);
  std::memcpy(bytes.data() + 8, text.data(), text.size());
  return bytes;
}

/// `inner`, repeated, between the root's tags.
std::string repeated(const std::string& inner, std::size_t bytes, const std::string& before = "",
                     const std::string& after = "") {
  std::string text = "<channel_descriptions version=\"1\">" + before;
  while (text.size() < bytes) text += inner;
  return text + after + "</channel_descriptions>";
}

long most_kilobytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

/// Exits with 0 when loading took no more than was reported, and no less than a fraction of it.
[[noreturn]] void load_and_exit(const std::string& text, double fraction) {
  const std::vector<char> bytes = header_of(text);
  const auto* header = reinterpret_cast<const ravo_xml_chan_descr_header_2010*>(bytes.data());
  const double said = static_cast<double>(ravo_get_chan_descr_memory(header));
  mallopt(M_MMAP_THRESHOLD, 128 << 10);  // what is freed goes back at once
  const long before = most_kilobytes();
  std::vector<chan_descr_2010*> descriptions;
  (void)ravo_load_chan_descr(header, &descriptions);
  const double taken = static_cast<double>(most_kilobytes() - before) * 1024;
  std::cerr << "said " << said << ", taken " << taken << "\n";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)  // their memory is not the program's
  std::exit(0);
#else
  std::exit(taken <= said + (1 << 20) && taken >= fraction * said ? 0 : 1);
#endif
}

constexpr std::size_t text_length = std::size_t{2} << 20;

TEST(DescriptionMemory, IsNeverLessThanLoadingTakes) {
  const std::string channel = "<channel prop_name=\"a\">";
  const std::string texts[] = {
      repeated("<channel prop_name=\"a\"/>", text_length),
      repeated("<channel prop_name=\"LINAC/BPM/001\" units=\"mm\" prop_desc=\"Position of the beam\" "
               "ev_type=\"2\" dtype=\"41\">\n  <dim dim=\"0\" dim_name=\"x\" units=\"mm\"/>\n</channel>\n",
               text_length),
      repeated("<bit bit=\"1\"/>", text_length, channel, "</channel>"),
      repeated("<dim dim=\"1\"/>", text_length, channel, "</channel>"),
      repeated("<stat stat=\"1\"/>", text_length, channel + "<dim dim=\"0\">", "</dim></channel>"),
      repeated("<dim dim=\"1\"><stat stat=\"1\"/></dim>", text_length, channel, "</channel>"),
  };
  for (const std::string& text : texts)
    EXPECT_EXIT(load_and_exit(text, 0.3), testing::ExitedWithCode(0), "") << text.substr(0, 100);
}

TEST(DescriptionMemory, HoldsForTextsThatAreNoDescriptions) {
  const std::string texts[] = {
      repeated("<a/>", text_length),
      repeated("<a>b</a>", text_length),
      repeated("a='' ", text_length, "<channel ", "/>"),
      repeated("text", text_length),
      std::string(text_length, '<'),
      std::string(text_length, '='),
  };
  for (const std::string& text : texts)
    EXPECT_EXIT(load_and_exit(text, 0), testing::ExitedWithCode(0), "") << text.substr(0, 100);
}

TEST(DescriptionMemory, IsZeroForAnInvalidHeader) {
  EXPECT_EQ(ravo_get_chan_descr_memory(nullptr), 0u);
  std::vector<char> bytes = header_of("<a/>");
  const std::int32_t length = 7;
  std::memcpy(bytes.data() + 4, &length, 4);
  EXPECT_EQ(ravo_get_chan_descr_memory(reinterpret_cast<ravo_xml_chan_descr_header_2010*>(bytes.data())),
            0u);
}

}  // namespace
