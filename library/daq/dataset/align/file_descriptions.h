// What raw files say of channels besides their data: units, descriptions and axes, from the XML text that
// each file has. The text of a whole file is parsed for it, within the memory limit.
#ifndef RAVO_DATASET_FILE_DESCRIPTIONS_H
#define RAVO_DATASET_FILE_DESCRIPTIONS_H

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "align/file_tables.h"
#include "format/malloc_owner.h"
#include "work/memory_budget.h"
#include "work/open_files.h"

namespace ravo::detail {

/// What a file says of a channel.
struct described_channel {
  std::string about;
  std::string unit;
  std::string axis_label;  ///< of the samples
  std::string axis_unit;
};

/// Reads the descriptions of files one after the other. Files mostly say the same: a text that is that of
/// the file before is not parsed again.
class description_reader {
 public:
  /// `take_room` reserves memory, and returns false if there is none.
  using room_taker = std::function<bool(reservation&, std::size_t)>;
  description_reader(const std::vector<std::string_view>& names, room_taker take_room);

  /// Of each name; `nullopt` if the file does not describe it. Of several descriptions the first counts.
  const std::vector<std::optional<described_channel>>& read(const open_file& file,
                                                            ravo_file_generation generation);
  /// Why the last file's descriptions could not be read: the end of a sentence that begins with its name.
  /// Empty if they could.
  const std::string& problem() const { return problem_; }

 private:
  template <class G>
  void read_as(const open_file& file);
  void take(const std::vector<chan_descr_2010*>& parsed);
  void refuse(std::string why);

  const room_taker take_room_;
  std::map<std::string_view, std::vector<std::size_t>> positions_;  ///< of each name, in the list
  const std::size_t names_;
  std::vector<std::optional<described_channel>> described_;
  std::string problem_;
  malloc_owner<ravo_xml_chan_descr_header_2010> text_;  ///< of the last file that could be read
  reservation room_for_text_;
};

}  // namespace ravo::detail

#endif
