// Turns the XML text of a raw file into channel descriptions. Strict on purpose: a text that does not
// wholly follow the schema is refused, since a damaged description is worse than no description.
#include <charconv>
#include <cstring>
#include <iterator>
#include <memory>
#include <pugixml.hpp>
#include <string_view>

#include "description_fields.h"
#include "ravo_xml.h"
#include "ravo_xml_status.h"
#include "xml_text.h"

namespace {

using ravo::xml::for_each_field;

// 40,000 channels with 1 KiB each still fit; the parsed tree takes a few times the text's memory.
constexpr std::size_t longest_text = std::size_t{64} << 20;

struct delete_description {
  void operator()(chan_descr_2010* channel) const {
    std::vector<chan_descr_2010*> one{channel};
    ravo_free_chan_descr(&one);
  }
};
using owned_description = std::unique_ptr<chan_descr_2010, delete_description>;

template <std::size_t size>
bool set_value(char (&field)[size], std::string_view text) {
  if (text.size() >= size) return false;
  std::memcpy(field, text.data(), text.size());
  field[text.size()] = '\0';
  return true;
}

template <class Number>
bool set_value(Number& field, std::string_view text) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), field);
  return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

// Fills a record from its element's attributes. Fields of absent attributes stay zero or empty; the first
// attribute is required. Unknown or repeated attributes are refused.
template <class Record>
bool load_fields(const pugi::xml_node& element, Record& record) {
  std::size_t known = 0;
  bool good = true, first = true;
  for_each_field(record, [&](const char* name, auto& field) {
    const pugi::xml_attribute attribute = element.attribute(name);
    if (attribute) {
      ++known;
      const auto value = ravo::xml::attribute_value(attribute.value());
      good = good && value && set_value(field, *value);
    }
    if (first) good = good && attribute && *attribute.value();
    first = false;
  });
  std::size_t present = 0;
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    (void)attribute;
    ++present;
  }
  return good && present == known;
}

bool is_named(const pugi::xml_node& node, const char* name) {
  return node.type() == pugi::node_element && std::strcmp(node.name(), name) == 0;
}

bool is_leaf(const pugi::xml_node& element) { return !element.first_child(); }

bool load_dimension(const pugi::xml_node& element, dim_descr& dimension) {
  if (!load_fields(element, dimension)) return false;
  for (const pugi::xml_node& child : element.children()) {
    stat_descr statistic{};
    if (!is_named(child, ravo::xml::statistic_name) || !is_leaf(child) || !load_fields(child, statistic))
      return false;
    dimension.stats.push_back(statistic);
  }
  dimension.nstats = static_cast<std::int32_t>(dimension.stats.size());
  return true;
}

bool load_child(const pugi::xml_node& child, chan_descr_2010& channel) {
  if (is_named(child, ravo::xml::bit_name)) {
    auto bit = std::make_unique<bit_descr>();
    if (!is_leaf(child) || !load_fields(child, *bit)) return false;
    channel.bits.push_back(nullptr);
    channel.bits.back() = bit.release();
    return true;
  }
  if (is_named(child, ravo::xml::dimension_name)) {
    auto dimension = std::make_unique<dim_descr>();
    if (!load_dimension(child, *dimension)) return false;
    channel.dims.push_back(nullptr);
    channel.dims.back() = dimension.release();
    return true;
  }
  return false;
}

owned_description load_channel(const pugi::xml_node& element) {
  owned_description channel(new chan_descr_2010{});
  if (!is_named(element, ravo::xml::channel_name) || !load_fields(element, *channel)) return nullptr;
  for (const pugi::xml_node& child : element.children())
    if (!load_child(child, *channel)) return nullptr;
  channel->nbits = static_cast<std::int32_t>(channel->bits.size());
  channel->ndims = static_cast<std::int32_t>(channel->dims.size());
  return channel;
}

// The root element of a document that holds nothing else except a declaration.
pugi::xml_node root_of(const pugi::xml_document& document) {
  pugi::xml_node root;
  for (const pugi::xml_node& node : document.children()) {
    if (node.type() == pugi::node_declaration && !root) continue;
    if (root || !is_named(node, ravo::xml::root_name)) return {};
    root = node;
  }
  const pugi::xml_attribute version = root.first_attribute();
  if (std::strcmp(version.name(), ravo::xml::version_name) != 0 ||
      std::strcmp(version.value(), ravo::xml::version_text) != 0 || version.next_attribute())
    return {};
  return root;
}

int load(std::string_view text, std::vector<chan_descr_2010*>& descriptions) {
  if (text.size() > longest_text) return RAVO_XML_TOO_LONG;
  if (!ravo::xml::is_allowed(text)) return RAVO_XML_NOT_WELL_FORMED;
  // Document types and text outside the root are kept in the tree so that they are seen and refused;
  // attribute_value resolves references, because it refuses what the parser would accept.
  constexpr unsigned options =
      pugi::parse_cdata | pugi::parse_declaration | pugi::parse_doctype | pugi::parse_fragment;
  pugi::xml_document document;
  const pugi::xml_parse_result parsed =
      document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8);
  if (parsed.status == pugi::status_out_of_memory) return RAVO_XML_NO_MEMORY;
  if (!parsed ||
      document.find_child([](const pugi::xml_node& node) { return node.type() == pugi::node_doctype; }))
    return RAVO_XML_NOT_WELL_FORMED;

  const pugi::xml_node root = root_of(document);
  if (!root) return RAVO_XML_NOT_OF_SCHEMA;
  std::vector<owned_description> loaded;
  for (const pugi::xml_node& element : root.children()) {
    loaded.push_back(load_channel(element));
    if (!loaded.back()) return RAVO_XML_NOT_OF_SCHEMA;
  }
  descriptions.reserve(descriptions.size() + loaded.size());
  for (owned_description& channel : loaded) descriptions.push_back(channel.release());
  return RAVO_XML_OK;
}

}  // namespace

// Counts each kind of record by its element, and the parts of the parsed tree: a copy of the text, a node
// for each element and text, an attribute for each "=". Pointers to records are in vectors; a vector that
// grows exists twice, once with half of its new size.
unsigned long ravo_get_chan_descr_memory(const ravo_xml_chan_descr_header_2010* header) {
  constexpr unsigned long of_allocation = 16, of_place = 3 * sizeof(void*);
  constexpr unsigned long of_node = 64 + 8, of_attribute = 40 + 8, of_tree = 64 * 1024;
  constexpr unsigned long of_name = std::size(ravo::xml::channel_name) - 1;
  const struct {
    std::string_view element;
    unsigned long bytes;
  } records[] = {{ravo::xml::channel_name, sizeof(chan_descr_2010) + of_allocation + 2 * of_place},
                 {ravo::xml::bit_name, sizeof(bit_descr) + of_allocation + of_place},
                 {ravo::xml::dimension_name, sizeof(dim_descr) + of_allocation + of_place},
                 {ravo::xml::statistic_name, 3 * sizeof(stat_descr)}};
  if (!header || header->length < static_cast<std::int32_t>(sizeof *header)) return 0;
  const std::string_view text(header->xml(), static_cast<std::size_t>(header->length) - sizeof *header);
  unsigned long bytes = text.size() + of_tree;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=') bytes += of_attribute;
    if (text[i] != '<') continue;
    bytes += 2 * of_node;  // the text that follows the element may be a node too
    const std::string_view element = text.substr(i + 1, of_name);
    for (const auto& record : records)
      if (element.starts_with(record.element)) bytes += record.bytes;
  }
  return bytes;
}

int ravo_load_chan_descr(const ravo_xml_chan_descr_header_2010* header,
                         std::vector<chan_descr_2010*>* descriptions) try {
  if (!header || !descriptions || header->pattern != RAVO_XML_CHAN_DESCR_PATTERN ||
      header->length < static_cast<std::int32_t>(sizeof *header))
    return RAVO_XML_INVALID_ARGUMENT;
  std::string_view text(header->xml(), static_cast<std::size_t>(header->length) - sizeof *header);
  // Writers may pad the text with zeros.
  while (!text.empty() && text.back() == '\0') text.remove_suffix(1);
  return load(text, *descriptions);
} catch (...) {
  return RAVO_XML_NO_MEMORY;
}
