#include "documents.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <pugixml.hpp>

#include "format/time.h"
#include "format/utf8.h"

namespace ravo::catalogue {
namespace {

constexpr const char* declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr const char* run_root = "ravo_run";
constexpr const char* day_root = "ravo_day";
constexpr const char* version_text = "1";
constexpr const char* time_form = "YYYY-MM-DDThh:mm:ss.ffffffZ";
constexpr std::size_t longest_path = 4095;

// ---- characters ------------------------------------------------------------------------------------

bool is_control(char letter) { return static_cast<unsigned char>(letter) < 0x20; }

// Whether XML can hold a text; line ends and tabs are written as references.
bool is_text(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8_character_length(text);
    if (length == 0 || (is_control(text[0]) && !std::strchr("\t\n\r", text[0]))) return false;
    text.remove_prefix(length);
  }
  return true;
}

// Whether a reference stands for the character 0, which XML forbids and at which a text would end early.
bool refers_to_zero(std::string_view text) {
  for (std::size_t at = text.find("&#"); at != text.npos; at = text.find("&#", at + 1)) {
    std::string_view digits = text.substr(at + 2);
    if (digits.starts_with('x')) digits.remove_prefix(1);
    const std::size_t end = std::min(digits.find_first_not_of('0'), digits.size());
    if (end > 0 && digits.substr(end).starts_with(';')) return true;
  }
  return false;
}

// ---- writing --------------------------------------------------------------------------------------

void add(std::string& text, const char* name, std::string_view value) {
  text.append(" ").append(name).append("=\"");
  for (const char letter : value) switch (letter) {
      case '&':
        text += "&amp;";
        break;
      case '<':
        text += "&lt;";
        break;
      case '>':
        text += "&gt;";
        break;
      case '"':
        text += "&quot;";
        break;
      // Unescaped, they would be read as blanks.
      case '\t':
        text += "&#9;";
        break;
      case '\n':
        text += "&#10;";
        break;
      case '\r':
        text += "&#13;";
        break;
      default:
        text += letter;
    }
  text += '"';
}

template <class Number>
void add_number(std::string& text, const char* name, Number value) {
  add(text, name, std::to_string(value));
}

void add_span(std::string& text, time_stamp start, time_stamp end) {
  add(text, "start", time_text(start));
  add(text, "end", time_text(end));
}

// ---- reading --------------------------------------------------------------------------------------

// What is wrong with a document; never leaves this file.
struct damaged {
  std::string reason;
};

[[noreturn]] void refuse(const pugi::xml_node& element, const std::string& what) {
  throw damaged{std::string("<") + element.name() + "> at byte " + std::to_string(element.offset_debug()) +
                " " + what};
}

std::string_view required(const pugi::xml_node& element, const char* name) {
  const pugi::xml_attribute attribute = element.attribute(name);
  if (!attribute || !*attribute.value()) refuse(element, std::string("lacks the attribute ") + name);
  if (!is_text(attribute.value())) refuse(element, std::string("has no text in ") + name);
  return attribute.value();
}

template <class Number>
Number number(const pugi::xml_node& element, const char* name, std::string_view text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size())
    refuse(element, std::string("has no number in ") + name);
  return value;
}

int run_number(const pugi::xml_node& element, const char* name) {
  const int run = number<int>(element, name, required(element, name));
  if (run < 0) refuse(element, std::string("has a negative number in ") + name);
  return run;
}

time_stamp time(const pugi::xml_node& element, const char* name) {
  const auto value = read_time_as(time_form, required(element, name));
  if (!value) refuse(element, std::string("has no time in ") + name);
  return *value;
}

void read_span(const pugi::xml_node& element, time_stamp& start, time_stamp& end) {
  start = time(element, "start");
  end = time(element, "end");
  if (is_before(end, start)) refuse(element, "ends before it starts");
}

// The two attributes may be absent, but only together.
void read_optional_span(const pugi::xml_node& element, time_stamp& start, time_stamp& end) {
  if (element.attribute("start") || element.attribute("end")) read_span(element, start, end);
}

raw_file_entry read_file(const pugi::xml_node& element) {
  raw_file_entry file;
  file.path = required(element, "path");
  if (file.path.size() > longest_path) refuse(element, "has a path that is too long");
  file.bytes = number<std::uint64_t>(element, "bytes", required(element, "bytes"));
  file.events = number<std::uint64_t>(element, "events", required(element, "events"));
  if (const pugi::xml_attribute modified = element.attribute("modified"))
    file.modified = number<std::int64_t>(element, "modified", modified.value());
  const std::string_view complete = required(element, "complete");
  if (complete != "yes" && complete != "no") refuse(element, "says neither yes nor no in complete");
  file.complete = complete == "yes";
  read_optional_span(element, file.start, file.end);
  if (file.events > 0 && !file.has_time()) refuse(element, "has events but no start and end");
  return file;
}

pugi::xml_node root_of(const pugi::xml_document& document, const char* name) {
  const pugi::xml_node root = document.document_element();
  if (std::strcmp(root.name(), name) != 0)
    throw damaged{std::string("the root is <") + root.name() + "> and not <" + name + ">"};
  if (std::strcmp(root.attribute("version").value(), version_text) != 0)
    refuse(root, "is of another version than 1");
  return root;
}

void parse(std::string_view text, pugi::xml_document& document) {
  if (text.size() > longest_document) throw damaged{"it is too long"};
  if (text.empty()) throw damaged{"it is empty"};
  if (refers_to_zero(text)) throw damaged{"it refers to a character that is none"};
  // A document type is kept so that it is seen and refused.
  constexpr unsigned options = pugi::parse_default | pugi::parse_doctype;
  const pugi::xml_parse_result parsed =
      document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8);
  if (parsed.status == pugi::status_out_of_memory) throw std::bad_alloc();
  if (!parsed)
    throw damaged{std::string(parsed.description()) + " at byte " + std::to_string(parsed.offset)};
  for (const pugi::xml_node& node : document.children())
    if (node.type() == pugi::node_doctype) throw damaged{"it has a document type"};
}

template <class Content, class Read>
document<Content> read_document(std::string_view text, Read read) {
  try {
    pugi::xml_document tree;
    parse(text, tree);
    return {read(tree), {}, true};
  } catch (const damaged& what) {
    return {std::nullopt, what.reason, true};
  }
}

}  // namespace

bool can_be_written(std::string_view text) {
  return is_text(text) && std::none_of(text.begin(), text.end(),
                                       [](char letter) { return is_control(letter) || letter == 0x7f; });
}

std::string run_document(const run_entry& run) {
  std::string text = declaration;
  text.append("<").append(run_root);
  add(text, "version", version_text);
  add(text, "experiment", run.experiment);
  add(text, "stream", run.stream);
  add_number(text, "run", run.run);
  if (run.start.timeup != 0 || run.start.timelow != 0) add_span(text, run.start, run.end);
  text += ">\n";
  for (const raw_file_entry& file : run.files) {
    text += "  <file";
    add(text, "path", file.path);
    add_number(text, "bytes", file.bytes);
    add_number(text, "events", file.events);
    if (file.has_time()) add_span(text, file.start, file.end);
    add(text, "complete", file.complete ? "yes" : "no");
    if (file.modified != 0) add_number(text, "modified", file.modified);
    text += "/>\n";
  }
  return text.append("</").append(run_root).append(">\n");
}

document<run_entry> parse_run(std::string_view text) {
  return read_document<run_entry>(text, [](const pugi::xml_document& tree) {
    const pugi::xml_node root = root_of(tree, run_root);
    run_entry run;
    run.experiment = required(root, "experiment");
    run.stream = required(root, "stream");
    run.run = run_number(root, "run");
    read_optional_span(root, run.start, run.end);
    for (const pugi::xml_node& element : root.children("file")) run.files.push_back(read_file(element));
    return run;
  });
}

std::string day_document(const day_index& day) {
  std::string text = declaration;
  text.append("<").append(day_root);
  add(text, "version", version_text);
  add(text, "experiment", day.experiment);
  add(text, "stream", day.stream);
  add(text, "day", day.day);
  text += ">\n";
  for (const run_span& run : day.runs) {
    text += "  <run";
    add_number(text, "number", run.run);
    add_span(text, run.start, run.end);
    text += "/>\n";
  }
  return text.append("</").append(day_root).append(">\n");
}

document<day_index> parse_day(std::string_view text) {
  return read_document<day_index>(text, [](const pugi::xml_document& tree) {
    const pugi::xml_node root = root_of(tree, day_root);
    day_index day;
    day.experiment = required(root, "experiment");
    day.stream = required(root, "stream");
    day.day = required(root, "day");
    for (const pugi::xml_node& element : root.children("run")) {
      run_span run{run_number(element, "number"), {}, {}};
      read_span(element, run.start, run.end);
      day.runs.push_back(run);
    }
    return day;
  });
}

}  // namespace ravo::catalogue
