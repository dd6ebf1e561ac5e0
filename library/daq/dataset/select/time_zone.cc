#include "ravo_dataset/time_zone.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "format/opened_file.h"
#include "format/read_exactly.h"

namespace ravo {
namespace {

// The C library silently treats an unknown zone as UTC, so it only gets files that begin as zone
// files do.
bool is_zone_file(const std::string& path) {
  char head[4] = {};
  const opened_file file(path.c_str());
  return file >= 0 && read_exactly(file, 0, head, sizeof head) &&
         std::string_view(head, sizeof head) == "TZif";
}

// Names must lead to files below the folder of zone files, and nowhere else.
bool may_be_a_name(std::string_view text) {
  return !text.empty() && text.front() != '/' && text.find("..") == std::string_view::npos &&
         std::all_of(text.begin(), text.end(), [](char letter) {
           return std::isalnum(static_cast<unsigned char>(letter)) ||
                  std::string_view("/_+-").find(letter) != std::string_view::npos;
         });
}

std::string zone_folder() {
  const char* folder = std::getenv("TZDIR");
  return folder && *folder ? folder : "/usr/share/zoneinfo";
}

// The C library's zone, for the lifetime of this object.
class c_library_zone {
 public:
  explicit c_library_zone(const std::string& rules) {
    if (const char* set = std::getenv("TZ")) before_ = set;
    setenv("TZ", (":" + rules).c_str(), 1);
    tzset();
  }
  ~c_library_zone() {
    if (before_)
      setenv("TZ", before_->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }
  c_library_zone(const c_library_zone&) = delete;
  c_library_zone& operator=(const c_library_zone&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace

std::string format_offset(std::int64_t seconds) {
  const std::int64_t size = std::abs(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%c%02d:%02d", seconds < 0 ? '-' : '+', static_cast<int>(size / 3600),
                static_cast<int>(size % 3600 / 60));
  return text;
}

std::optional<std::int64_t> parse_offset(std::string_view text) {
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  std::string digits(text.substr(1));
  if (digits.size() == 5 && digits[2] == ':') digits.erase(2, 1);
  const bool are_digits = digits.find_first_not_of("0123456789") == std::string::npos;
  const bool are_so_many = digits.size() == 1 || digits.size() == 2 || digits.size() == 4;
  if (!are_digits || !are_so_many) return std::nullopt;
  if (digits.size() < 3) digits += "00";
  const int number = std::stoi(digits);
  if (number / 100 > 15 || number % 100 > 59) return std::nullopt;
  const std::int64_t seconds = number / 100 * 3600 + number % 100 * 60;
  return text[0] == '-' ? -seconds : seconds;
}

std::optional<time_zone> time_zone::named(std::string_view text) {
  time_zone zone;
  if (text == "UTC" || text == "Z") return zone;
  zone.name_ = text;
  if (const auto offset = parse_offset(text)) {
    zone.offset_ = *offset;
    return zone;
  }
  if (!may_be_a_name(text)) return std::nullopt;
  zone.rules_ = zone_folder() + "/" + zone.name_;
  if (!is_zone_file(zone.rules_)) return std::nullopt;
  return zone;
}

std::int64_t time_zone::offset_at(std::int64_t moment) const {
  if (rules_.empty()) return offset_;
  const c_library_zone in_force(rules_);
  const std::time_t asked = moment;
  std::tm shown{};
  return localtime_r(&asked, &shown) ? shown.tm_gmtoff : 0;
}

std::vector<std::int64_t> time_zone::moments_of(std::int64_t shown) const {
  // Clocks are changed at most once within two days, so one of the offsets around the day holds.
  constexpr std::int64_t day = 86400;
  std::vector<std::int64_t> moments;
  for (const std::int64_t offset : {offset_at(shown - day), offset_at(shown + day)}) {
    const std::int64_t moment = shown - offset;
    if (offset_at(moment) == offset) moments.push_back(moment);
  }
  std::sort(moments.begin(), moments.end());
  moments.erase(std::unique(moments.begin(), moments.end()), moments.end());
  return moments;
}

}  // namespace ravo
