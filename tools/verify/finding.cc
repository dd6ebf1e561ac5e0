#include "finding.h"

#include <iterator>

namespace ravo::checks {
namespace {

constexpr const char* copy_again = "copy the file again from where it came";
constexpr const char* copy_block = "copy the file again; if the source has it too, the block is lost";
constexpr const char* refused = "readers refuse the file: copy it again from where it came";
constexpr const char* tell_writer = "tell the people who write these files";

using enum finding_kind;
using enum severity;

constexpr kind_row kinds[] = {
    {folder_unreadable, "folder.unreadable", damaged, "the folder has nothing that can be checked",
     "check its path and its permissions"},
    {catalogue_damaged, "catalogue.damaged", damaged, "the catalogue file of a run is damaged",
     "build the catalogue again; the run was not checked"},
    {catalogue_unreadable, "catalogue.unreadable", damaged, "the catalogue file of a run cannot be read",
     "check its path, its permissions and its disk; the run was not checked"},
    {run_unknown, "run.unknown", odd, "the catalogue does not know a run",
     "build the catalogue again, or look for the run where it was taken"},
    {run_file_growing, "run.file_growing", odd, "the file may still be written",
     "it was not checked: build the catalogue again later"},
    {run_file_left_out, "run.file_left_out", odd, "the catalogue does not know this file of the run",
     "readers by run do not get it: build the catalogue again"},
    {run_file_twice, "run.file_twice", odd, "another file has the same run and the same file number",
     "if one is a copy, leave it out: the events count twice"},
    {file_unreadable, "file.unreadable", damaged, "the file cannot be read",
     "check its path, its permissions and its disk"},
    {file_changed, "file.changed", damaged, "the file changed while it was checked",
     "check it again when nobody writes it any more"},
    {file_too_large, "file.too_large", odd, "the file holds more of something than is checked",
     "what is named here was left out of the check"},
    {file_too_entangled, "file.too_entangled", odd,
     "the file's pointers lead back and forth more than can be followed",
     "what is not named here was perhaps not checked"},
    {file_signature, "file.signature", odd, "the file does not begin with the signature of its generation",
     "readers do not need it, but its first bytes were overwritten"},
    {file_reference, "file.reference", damaged, "there is no readable reference table",
     "the file was cut off, is still being written, or is no raw file: copy it again"},
    {table_event_index, "table.event_index", damaged, "the event index is refused", refused},
    {table_dictionary, "table.dictionary", damaged, "the channel dictionary is refused", refused},
    {table_pointers, "table.pointers", damaged, "the event channel pointers are refused", refused},
    {table_environment, "table.environment", damaged, "the environment dictionary is refused", refused},
    {table_descriptions, "table.descriptions", damaged, "the table of channel descriptions is refused",
     refused},
    {table_reference, "table.reference", damaged, "the reference table contradicts what it leads to",
     copy_again},
    {table_overlap, "table.overlap", damaged, "two parts of the file overlap", copy_again},
    {basket_event_headers, "basket.event_headers", damaged, "the head of the event header basket is wrong",
     copy_again},
    {basket_server_blocks, "basket.server_blocks", damaged, "the head of the server block basket is wrong",
     copy_again},
    {basket_channel, "basket.channel", damaged, "the head of the channel's basket is wrong", copy_again},
    {basket_first_block, "basket.first_block", damaged,
     "the block of the channel's first event is not the first one in its basket",
     "readers do not find the basket and miss the whole channel: tell the people who write these files"},
    {dictionary_name, "dictionary.name", damaged, "the dictionary has a name that no channel can have",
     tell_writer},
    {dictionary_key, "dictionary.key", odd, "the dictionary has a key twice", tell_writer},
    {dictionary_count, "dictionary.count", damaged,
     "the dictionary's count is not the number of the channel's events", copy_again},
    {dictionary_event_mask, "dictionary.event_mask", damaged,
     "the dictionary's event types are not those of the channel's events", copy_again},
    {dictionary_idle_mask, "dictionary.idle_mask", odd,
     "the dictionary names event types for a channel without events", tell_writer},
    {dictionary_type_mask, "dictionary.type_mask", damaged,
     "the dictionary's data types are not those of the channel's blocks", copy_again},
    {environment_key, "environment.key", odd, "the environment dictionary has a key twice", tell_writer},
    {environment_entry, "environment.entry", odd,
     "the environment dictionary does not know a channel that has readings", tell_writer},
    {environment_index, "environment.index", damaged,
     "a reading bears another index than its channel has in the environment dictionary", copy_block},
    {environment_negative, "environment.negative", odd, "the environment dictionary has a negative index",
     "such an entry means nothing: tell the people who write these files"},
    {description_text, "description.text", damaged, "the channel descriptions cannot be understood",
     "units and texts are lost, the data are not: copy the file again"},
    {description_missing, "description.missing", odd, "the channel has no description",
     "add it where the channels are configured", finding_count::channels},
    {text_encoding, "text.encoding", odd, "a text is not UTF-8",
     "its bytes are handed out as they are: tell the people who write these files"},
    {index_limits, "index.limits", damaged,
     "the first or last event of a type is not the one that the index says", copy_again},
    {index_event, "index.event", damaged, "an event of the index and its header disagree", copy_again},
    {index_missing, "index.missing", damaged, "an event header is not in the event index", copy_again},
    {event_marker, "event.marker", damaged, "an event header has a wrong marker", copy_again},
    {event_time, "event.time", damaged, "an event has a time with a million microseconds or more",
     tell_writer},
    {event_no_time, "event.no_time", odd, "an event has no time",
     "searches by time do not find it; check the clock of the acquisition"},
    {event_servers, "event.servers", damaged,
     "the event headers do not count as many server blocks as there are", copy_again},
    {event_length, "event.length", damaged, "an event header has a wrong length", copy_again},
    {event_time_back, "event.time_back", damaged, "time goes back",
     "searches by time miss events here; check the clock of the acquisition"},
    {event_number_back, "event.number_back", odd, "event numbers go back while time goes on",
     "searches by number miss events here; was the event counter reset?"},
    {event_duplicate, "event.duplicate", odd, "two events of a type have the same number",
     "a search by number finds one of them; check the event counter"},
    {event_missing, "event.missing", odd, "event numbers are missing",
     "these events were not taken, or not written"},
    {server_name, "server.name", damaged, "a server's name has no end", copy_again},
    {server_time, "server.time", damaged, "a server block has a time with a million microseconds or more",
     tell_writer},
    {server_channels, "server.channels", damaged,
     "a server block does not count as many channels as it has", copy_again},
    {server_length, "server.length", damaged, "a server block has a wrong length", copy_again},
    {pointer_event_header, "pointer.event_header", damaged, "a pointer does not lead to an event header",
     copy_block},
    {pointer_server_block, "pointer.server_block", damaged,
     "a pointer does not lead to a server block of its event", copy_block},
    {pointer_block, "pointer.block", damaged,
     "a pointer does not lead to a block of its own in the channel's basket", copy_block},
    {pointer_data, "pointer.data", damaged, "a pointer does not lead to the block's data", copy_block},
    {pointer_order, "pointer.order", damaged, "the channel's events are not in order",
     "searches miss events of the channel: copy the file again"},
    {pointer_block_order, "pointer.block_order", odd,
     "the channel's blocks do not stand in the order of its events",
     "events may have each other's data: compare the channel with others before you use it"},
    {block_name, "block.name", damaged, "the block bears another channel's name", copy_block},
    {block_foreign_name, "block.foreign_name", odd, "the block bears a name that no channel has",
     "readers decode it all the same, and classic programs find it by this name only: does the front end "
     "call the channel so?"},
    {block_type, "block.type", damaged, "the block has a data type that it cannot have", copy_block},
    {block_length, "block.length", damaged, "the block has a wrong length", copy_block},
    {block_reading_length, "block.reading_length", odd, "the block of a reading is longer than the reading",
     "what follows the reading is not used: tell the people who write these files"},
    {block_reading_time, "block.reading_time", damaged,
     "a reading has a time with a million microseconds or more", tell_writer},
    {block_zip_header, "block.zip_header", damaged, "the block's zip header is wrong", copy_block},
    {block_zip_flags, "block.zip_flags", odd, "the zip header has flags that are not defined", tell_writer},
    {block_original_length, "block.original_length", damaged,
     "the block does not inflate to its original length", copy_block},
    {block_inflate, "block.inflate", damaged, "the block cannot be inflated", copy_block},
    {block_convert, "block.convert", damaged, "the block's data contradict their type", copy_block},
    {block_spare_words, "block.spare_words", odd, "spare words of the block are not 0", tell_writer},
    {block_too_large, "block.too_large", odd, "the block is larger than what is checked",
     "read it to see whether it is good"},
    {channel_shifted, "channel.shifted", odd, "the channel's data are of another event",
     "compare it with other channels before you use it together with them"},
    {channel_time_back, "channel.time_back", odd, "the times of the channel's readings go back",
     "check the clock of its server; or events have each other's readings"},
    {channel_frozen, "channel.frozen", odd, "a camera frame is the same as the one before, bit for bit",
     "was the camera running? only test pictures are the same by nature"},
    {channel_absent, "channel.absent", odd, "the channel has no data in the whole run",
     "was its server running?"},
    {run_file_missing, "run.file_missing", odd, "files of the run are not among those checked",
     "look for them where the files came from"},
};
static_assert(std::size(kinds) == static_cast<std::size_t>(run_file_missing) + 1);

constexpr bool are_in_order() {
  for (std::size_t i = 0; i < std::size(kinds); ++i)
    if (static_cast<std::size_t>(kinds[i].kind) != i) return false;
  return true;
}
static_assert(are_in_order());

}  // namespace

std::span<const kind_row> finding_kinds() { return kinds; }

const kind_row& row_of(finding_kind kind) { return kinds[static_cast<std::size_t>(kind)]; }

ravo::finding described(const finding& what) {
  const kind_row& row = row_of(what.kind);
  return {what.file,  row.code,   row.how_bad, what.first.channel, what.first.event, what.first.offset,
          what.count, row.counts, row.what,    what.detail,        row.remedy};
}

}  // namespace ravo::checks
