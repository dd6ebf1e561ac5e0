// Writes channel descriptions as the XML text that a raw file carries, and deletes descriptions.
#include <cstring>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "description_fields.h"
#include "ravo_xml.h"
#include "xml_text.h"

namespace {

using ravo::xml::for_each_field;

class string_writer : public pugi::xml_writer {
 public:
  void write(const void* data, std::size_t size) override {
    text_.append(static_cast<const char*>(data), size);
  }
  std::string take() { return std::move(text_); }

 private:
  std::string text_;
};

// A byte that XML cannot hold becomes a question mark: one bad byte must not cost the whole text.
std::string allowed_text(std::string_view field) {
  std::string text;
  while (!field.empty()) {
    const std::size_t length = ravo::xml::character_length(field);
    text += length == 0 ? std::string_view("?") : field.substr(0, length);
    field.remove_prefix(length == 0 ? 1 : length);
  }
  return text;
}

// The XML tree silently drops what it has no memory for; an incomplete text would then pass for a whole.
template <class Part>
Part checked(Part part) {
  if (!part) throw std::bad_alloc();
  return part;
}

template <class Value>
void append_value(pugi::xml_node& element, const char* name, const Value& value) {
  if (!checked(element.append_attribute(name)).set_value(value)) throw std::bad_alloc();
}

template <std::size_t size>
void append(pugi::xml_node& element, const char* name, const char (&field)[size]) {
  // The last byte is reserved for the terminating zero, whatever it holds.
  const std::string text = allowed_text({field, strnlen(field, size - 1)});
  append_value(element, name, text.c_str());
}

template <class Number>
void append(pugi::xml_node& element, const char* name, const Number& number) {
  append_value(element, name, number);
}

template <class Record>
pugi::xml_node store(pugi::xml_node& parent, const char* element_name, const Record& record) {
  pugi::xml_node element = checked(parent.append_child(element_name));
  for_each_field(record, [&](const char* name, const auto& field) { append(element, name, field); });
  return element;
}

}  // namespace

std::string ravo_store_chan_descr(const std::vector<chan_descr_2010*>& descriptions) {
  pugi::xml_document document;
  pugi::xml_node declaration = checked(document.append_child(pugi::node_declaration));
  append_value(declaration, "version", "1.0");
  append_value(declaration, "encoding", "UTF-8");
  pugi::xml_node root = checked(document.append_child(ravo::xml::root_name));
  append_value(root, ravo::xml::version_name, ravo::xml::version_text);
  for (const chan_descr_2010* channel : descriptions) {
    if (!channel) continue;
    pugi::xml_node element = store(root, ravo::xml::channel_name, *channel);
    for (const bit_descr* bit : channel->bits)
      if (bit) store(element, ravo::xml::bit_name, *bit);
    for (const dim_descr* dimension : channel->dims) {
      if (!dimension) continue;
      pugi::xml_node inner = store(element, ravo::xml::dimension_name, *dimension);
      for (const stat_descr& statistic : dimension->stats)
        store(inner, ravo::xml::statistic_name, statistic);
    }
  }
  string_writer writer;
  document.save(writer, "  ", pugi::format_default, pugi::encoding_utf8);
  return writer.take();
}

void ravo_free_chan_descr(std::vector<chan_descr_2010*>* descriptions) {
  if (!descriptions) return;
  for (chan_descr_2010* channel : *descriptions) {
    if (!channel) continue;
    for (bit_descr* bit : channel->bits) delete bit;
    for (dim_descr* dimension : channel->dims) delete dimension;
    delete channel;
  }
  descriptions->clear();
}
