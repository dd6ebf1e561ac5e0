// Ledgers and digests as JSON and back, so that the accounts of processes on several machines add up.
// Nothing is lost on the way: names and paths may hold any bytes, and numbers have 64 bits.
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>

#include "format/utf8.h"
#include "ravo_dataset/digest.h"
#include "ravo_dataset/errors.h"
#include "ravo_dataset/ledger.h"
#include "select/selection_words.h"

namespace ravo {
namespace {

using json = nlohmann::ordered_json;

[[noreturn]] void refuse(const std::string& what) { throw json_error("The JSON cannot be read: " + what); }

bool is_utf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = utf8_character_length(text);
    if (length == 0) return false;
    text.remove_prefix(length);
  }
  return true;
}

/// A text; what is not UTF-8 is an object with its bytes.
json text_json(const std::string& text) {
  if (is_utf8(text)) return text;
  constexpr const char* digits = "0123456789abcdef";
  std::string bytes;
  for (const char c : text) bytes += {digits[static_cast<unsigned char>(c) >> 4], digits[c & 15]};
  return {{"hex", bytes}};
}

std::string bytes_of(const std::string& digits) {
  std::string bytes;
  if (digits.size() % 2 != 0) refuse("\"hex\" has two digits for each byte");
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    unsigned byte = 0;
    const char* const end = digits.data() + i + 2;
    const auto [stop, error] = std::from_chars(digits.data() + i, end, byte, 16);
    if (error != std::errc() || stop != end) refuse("\"hex\" has two digits for each byte");
    bytes += static_cast<char>(byte);
  }
  return bytes;
}

const json& member(const json& object, const char* name) {
  if (!object.is_object()) refuse(std::string("an object with \"") + name + "\" is expected");
  const auto found = object.find(name);
  if (found == object.end()) refuse(std::string("\"") + name + "\" is missing");
  return *found;
}

const json& list(const json& object, const char* name) {
  const json& all = member(object, name);
  if (!all.is_array()) refuse(std::string("\"") + name + "\" is a list");
  return all;
}

std::string text(const json& object, const char* name) {
  const json& value = member(object, name);
  if (value.is_object() && member(value, "hex").is_string())
    return bytes_of(value["hex"].get<std::string>());
  if (!value.is_string()) refuse(std::string("\"") + name + "\" is a text");
  return value.get<std::string>();
}

template <class Number>
Number number(const json& object, const char* name) {
  const json& value = member(object, name);
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > std::numeric_limits<Number>::max())
    refuse(std::string("\"") + name + "\" is a whole number of " + std::to_string(8 * sizeof(Number)) +
           " bits");
  return value.get<Number>();
}

std::string key_of(missing_cause cause) { return detail::key_of(missing_cause_text(cause)); }
std::string key_of(file_refusal reason) { return detail::key_of(file_refusal_text(reason)); }
std::string key_of(problem_reason reason) {
  switch (reason) {
    case problem_reason::runs_without_files:
      return "runs_without_files";
    case problem_reason::damaged_catalogue:
      return "damaged_catalogue";
    case problem_reason::machine_error:
      return "machine_error";
  }
  return "unknown";
}

template <class Enumeration>
Enumeration enumerator(const std::string& key, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i)
    if (key_of(static_cast<Enumeration>(i)) == key) return static_cast<Enumeration>(i);
  refuse("\"" + key + "\" is unknown");
}
constexpr std::size_t problem_reason_count = 3;

json parsed(std::string_view text) {
  try {
    return json::parse(text);
  } catch (const json::exception& error) {
    refuse(error.what());
  }
}

// ---- the parts of a ledger

json form_of(const channel_ledger& one) {
  json missing = json::object();
  for (std::size_t i = 0; i < missing_cause_count; ++i)
    if (one.missing[i] != 0) missing[key_of(static_cast<missing_cause>(i))] = one.missing[i];
  return {{"channel", text_json(one.channel)},
          {"expected", one.expected},
          {"delivered", one.delivered},
          {"missing", std::move(missing)}};
}

channel_ledger channel_from(const json& form) {
  channel_ledger one;
  one.channel = text(form, "channel");
  one.expected = number<std::uint64_t>(form, "expected");
  one.delivered = number<std::uint64_t>(form, "delivered");
  const json& missing = member(form, "missing");
  if (!missing.is_object()) refuse("\"missing\" is an object");
  for (const auto& [key, value] : missing.items())
    one.missing[static_cast<std::size_t>(enumerator<missing_cause>(key, missing_cause_count))] =
        number<std::uint64_t>(missing, key.c_str());
  return one;
}

json form_of(const missing_value& one) {
  return {{"channel", text_json(one.channel)},
          {"event", one.event.event_number},
          {"seconds", one.event.time.timeup},
          {"microseconds", one.event.time.timelow},
          {"cause", key_of(one.cause)},
          {"file", text_json(one.file)},
          {"offset", one.offset},
          {"row", one.row}};
}

missing_value value_from(const json& form) {
  missing_value one;
  one.channel = text(form, "channel");
  one.event = {number<std::uint32_t>(form, "event"),
               {number<std::uint32_t>(form, "seconds"), number<std::uint32_t>(form, "microseconds")}};
  one.cause = enumerator<missing_cause>(text(form, "cause"), missing_cause_count);
  one.file = text(form, "file");
  one.offset = number<std::uint64_t>(form, "offset");
  one.row = number<std::uint64_t>(form, "row");
  return one;
}

json form_of(const refused_file& one) {
  return {
      {"file", text_json(one.path)}, {"reason", key_of(one.reason)}, {"problem", text_json(one.problem)}};
}

refused_file file_from(const json& form) {
  return {text(form, "file"), enumerator<file_refusal>(text(form, "reason"), file_refusal_count),
          text(form, "problem")};
}

json form_of(const reading_problem& one) {
  return {{"reason", key_of(one.reason)}, {"file", text_json(one.path)}, {"problem", text_json(one.text)}};
}

reading_problem problem_from(const json& form) {
  return {enumerator<problem_reason>(text(form, "reason"), problem_reason_count), text(form, "file"),
          text(form, "problem")};
}

template <class Element>
json forms_of(const std::vector<Element>& elements) {
  json forms = json::array();
  for (const Element& element : elements) forms.push_back(form_of(element));
  return forms;
}

}  // namespace

std::string read_ledger::to_json() const {
  const json form = {{"channels", forms_of(channels)},
                     {"values", forms_of(values)},
                     {"files", forms_of(files)},
                     {"problems", forms_of(problems)}};
  return form.dump();
}

read_ledger read_ledger::from_json(std::string_view text) {
  const json form = parsed(text);
  read_ledger ledger;
  for (const json& one : list(form, "channels")) ledger.channels.push_back(channel_from(one));
  for (const json& one : list(form, "values")) ledger.values.push_back(value_from(one));
  for (const json& one : list(form, "files")) ledger.files.push_back(file_from(one));
  for (const json& one : list(form, "problems")) ledger.problems.push_back(problem_from(one));
  return ledger;
}

std::string digests_to_json(const std::vector<named_digest>& digests) {
  json forms = json::array();
  for (const named_digest& one : digests)
    forms.push_back({{"channel", text_json(one.channel)},
                     {"values", one.digest.values()},
                     {"digest", one.digest.to_text()}});
  json form = json::object();
  form["digests"] = std::move(forms);
  return form.dump();
}

std::vector<named_digest> digests_from_json(std::string_view text_of_all) {
  const json form = parsed(text_of_all);
  std::vector<named_digest> digests;
  for (const json& one : list(form, "digests")) {
    const std::string digits = text(one, "digest");
    const auto digest = channel_digest::from_text(digits, number<std::uint64_t>(one, "values"));
    if (!digest) refuse("\"" + digits + "\" is not a digest of 32 hexadecimal digits");
    digests.push_back({text(one, "channel"), *digest});
  }
  return digests;
}

}  // namespace ravo
