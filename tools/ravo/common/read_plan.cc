#include "common/read_plan.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <map>

#include "common/failure.h"
#include "common/names.h"
#include "common/raw_file.h"
#include "format/payload_view.h"
#include "ravo_data_types.h"
#include "ravo_dataset/member_names.h"
#include "ravo_evutl.h"

namespace ravo::tool {
namespace {

// What all files together say about a channel.
struct known_channel {
  std::string units;
  std::uint64_t blocks = 0;
  std::optional<RAVO_SUBBLOCK_TYPE> dtype;
  stored_as form = stored_as::nothing;
};

class catalogue {
 public:
  void add(raw_file& file) {
    const auto channels = file.channels();
    for (std::size_t i = 0; i < channels.size(); ++i) {
      const auto [place, is_new] = known_.try_emplace(channels[i].chan_name);
      if (is_new) names_.push_back(channels[i].chan_name);
      known_channel& known = place->second;
      if (known.units.empty())
        if (const chan_descr_2010* description = file.description(channels[i].chan_name))
          known.units = description->units;
      if (channels[i].count > 0) known.blocks += static_cast<std::uint64_t>(channels[i].count);
      if (!known.dtype) {
        known.dtype = file.dtype_of(i);
        known.form = file.form_of(i);
      }
    }
  }
  const known_channel* find(const std::string& name) const {
    const auto place = known_.find(name);
    return place == known_.end() ? nullptr : &place->second;
  }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::map<std::string, known_channel> known_;
  std::vector<std::string> names_;  // in the files' order
};

struct wanted_channel {
  std::string name;
  int subchannel = -1;
  std::string member_name;  // if the member is asked for by name
};

// The same with the number of the member.
wanted_channel with_number(wanted_channel wanted, const known_channel& known) {
  if (wanted.member_name.empty()) return wanted;
  const auto number = known.dtype
                          ? member_number(static_cast<std::int32_t>(*known.dtype), wanted.member_name)
                          : std::nullopt;
  const std::string members = known.dtype ? member_list(static_cast<std::int32_t>(*known.dtype)) : "";
  if (!number)
    throw data_failure(
        fmt::format("\"{}\" has no member \"{}\"; {}", wanted.name, wanted.member_name,
                    members.empty() ? "its members go by their numbers, from 0" : "it has " + members));
  wanted.subchannel = *number;
  return wanted;
}

wanted_channel split_key(const std::string& text) {
  const auto colon = text.find(':');
  if (colon == std::string::npos) return {text, -1, ""};
  const char* begin = text.data() + colon + 1;
  const char* end = text.data() + text.size();
  int subchannel = -1;
  const auto [stop, error] = std::from_chars(begin, end, subchannel);
  if (error != std::errc{} || stop != end || subchannel < 0)
    return {text.substr(0, colon), -1, text.substr(colon + 1)};
  return {text.substr(0, colon), subchannel, ""};
}

// The reader names a member "NAME:member", which has to fit into the name field of a block.
void check_older_member_name(const std::string& name, int member) {
  constexpr std::size_t longest = sizeof(ravo_serv_block_subhead::chname) - 1;
  if (fmt::format("{}:{}", name, member).size() > longest)
    throw data_failure(fmt::format(
        "{}:{} is longer than the {} letters under which the classic reader gives single members of older "
        "files: leave --classic out, or ask for it without ':{}'",
        name, member, longest, member));
}

void check_older_member(const wanted_channel& wanted, const known_channel& known) {
  if (known.dtype == RAVO_BLOCK_GENERIC_SPECT)
    throw data_failure(fmt::format(
        "{} is a generic spectrum, of which the classic reader gives no single members out of older files: "
        "leave --classic out, or ask for it without ':{}'",
        wanted.name, wanted.subchannel));
  check_older_member_name(wanted.name, wanted.subchannel);
}

// Refuses a member that the channel does not have: the reader would silently find nothing.
void check_member(const wanted_channel& wanted, const known_channel& known,
                  ravo_file_generation generation) {
  const data_type* type = known.dtype ? find_data_type(*known.dtype) : nullptr;
  if (wanted.subchannel < 0) return;
  if (generation == ravo_file_generation::older) check_older_member(wanted, known);
  if (!type || type->code == RAVO_BLOCK_GENERIC_SPECT) return;
  if (type->shape == payload_shape::name_value)
    throw data_failure(
        fmt::format("{} is a name-value list, of which the classic reader gives no single records: leave "
                    "--classic out, or ask for it without ':{}'",
                    wanted.name, wanted.subchannel));
  if (type->members < 2) {
    const bool is_cut =
        wanted.subchannel == 0 && known.form != stored_as::plain && is_spectrum(type->shape);
    if (is_cut) return;
    throw data_failure(
        fmt::format("{} has a single member: ask for it without ':{}'", wanted.name, wanted.subchannel));
  }
  check_member_of_type(wanted.name, wanted.subchannel, *type);
}

std::string unknown_channel(const std::string& name, const catalogue& known) {
  return fmt::format("channel {} is in none of the files; {}", name,
                     suggestion(name, known.names(), "`ravo channels FILE` lists those that are"));
}

std::vector<read_channel> resolve(const std::vector<std::string>& asked, const catalogue& known,
                                  ravo_file_generation generation) {
  std::vector<read_channel> channels;
  auto add = [&](const wanted_channel& asked_for) {
    const known_channel& what = *known.find(asked_for.name);
    const wanted_channel wanted = with_number(asked_for, what);
    check_member(wanted, what, generation);
    const bool is_there = std::any_of(channels.begin(), channels.end(), [&wanted](const read_channel& one) {
      return one.name == wanted.name && one.subchannel == wanted.subchannel;
    });
    if (!is_there) channels.push_back({wanted.name, wanted.subchannel, what.units, what.blocks});
  };
  for (const std::string& text : asked) {
    const wanted_channel wanted = split_key(text);
    if (known.find(wanted.name)) {
      add(wanted);
      continue;
    }
    if (!is_pattern(wanted.name)) throw data_failure(unknown_channel(wanted.name, known));
    std::size_t found = 0;
    for (const std::string& name : known.names())
      if (matches(wanted.name, name)) {
        add({name, wanted.subchannel, wanted.member_name});
        ++found;
      }
    if (found == 0)
      throw data_failure(
          fmt::format("no channel of the files matches {}; {}", wanted.name,
                      suggestion(wanted.name, known.names(), "`ravo channels FILE` lists them")));
  }
  return channels;
}

[[noreturn]] void refuse_two_generations(const std::string& older, const std::string& current) {
  throw data_failure(fmt::format(
      "{} is of the older generation of the raw format, {} of the current one, and a request "
      "reads one generation; read them apart, or rewrite the older files first: `ravo convert {} "
      "--into DIR`",
      older, current, older));
}

void widen(read_plan& plan, const event_summary& events, bool is_first) {
  const time_stamp &first = events.first.time, &last = events.last.time;
  int sign = 0;
  ravo_time_stamp_eq(&first, &plan.first, 0.0, &sign, nullptr);
  if (is_first || sign < 0) plan.first = first;
  ravo_time_stamp_eq(&last, &plan.last, 0.0, &sign, nullptr);
  if (is_first || sign > 0) plan.last = last;
  if (events.spacing > 0 && (plan.spacing == 0 || events.spacing < plan.spacing))
    plan.spacing = events.spacing;
}

}  // namespace

void check_member_of_type(const std::string& name, int member, const data_type& type) {
  if (member < type.members) return;
  throw data_failure(fmt::format("{} has no member {}; it has {}", name, member, member_list(type.code)));
}

read_plan make_plan(const std::vector<std::string>& files, const std::vector<std::string>& channels) {
  read_plan plan;
  catalogue known;
  bool is_first = true;
  for (const std::string& path : files) {
    // The reader would search the data paths for a bare name; a person means this folder.
    const std::string explicit_path = path.find('/') == std::string::npos ? "./" + path : path;
    if (std::find(plan.files.begin(), plan.files.end(), explicit_path) != plan.files.end()) continue;
    raw_file file(path);
    if (plan.files.empty()) plan.generation = file.generation();
    if (file.generation() != plan.generation) {
      const bool is_older = file.generation() == ravo_file_generation::older;
      const std::string& other = files.front();
      is_older ? refuse_two_generations(path, other) : refuse_two_generations(other, path);
    }
    time_stamp named{};
    if (get_time_from_file_name(path.c_str(), &named) != 0)
      throw data_failure(
          path +
          ": the name holds no time, by which files are put in order; give the file the name "
          "that its writer gave it");
    known.add(file);
    for (const event_summary& events : file.events()) {
      widen(plan, events, is_first);
      is_first = false;
    }
    plan.files.push_back(explicit_path);
  }
  plan.channels = resolve(channels, known, plan.generation);
  return plan;
}

}  // namespace ravo::tool
