// The records that every layer of the library passes to the next: the time value, the event
// identifier, the per-event result of one channel, and what a caller asks of a channel. They are
// plain records without behaviour; the layouts of the raw file itself are in ravo_raw_format.h.
#ifndef RAVO_CORE_RECORDS_H
#define RAVO_CORE_RECORDS_H

#include <cstddef>
#include <cstdint>

/// A point in time, or (in requests and tolerances) a span of time.
struct time_stamp {
  std::uint32_t timeup;   ///< seconds since the Unix epoch
  std::uint32_t timelow;  ///< microseconds within the second, 0 to 999999
};
static_assert(sizeof(time_stamp) == 8);

/// Identifies an event. Two identifiers are compared by number when both numbers are non-zero, and
/// by time within a tolerance otherwise.
struct ravo_time_id {
  std::uint32_t event_number;  ///< 0: the event has no number and is compared by time
  time_stamp time;
};
static_assert(sizeof(ravo_time_id) == 12);
static_assert(offsetof(ravo_time_id, time) == 4);

/// Event number of an output entry that no worker has decoded yet; never that of a real event.
inline constexpr std::uint32_t RAVO_EVENT_NUMBER_UNDECODED = 0xFFFFFFFFu;

/// Where one channel's data of one event lies in memory, in host order: four addresses.
struct ravo_event_chan_ptr_long_entry {
  std::uint64_t evhd;  ///< the event header (ravo_eventheader)
  std::uint64_t sbhd;  ///< the header of the server block that carries the channel
  std::uint64_t chhd;  ///< the channel's subheader, followed directly by its data
  std::uint64_t data;  ///< the first byte of the data: chhd plus the subheader's size
};
static_assert(sizeof(ravo_event_chan_ptr_long_entry) == 32);

/// One channel's data for one event. The receiver of a pointer to it never owns it: an entry of a
/// channel reader is valid until that reader's clean(), an entry of a reader until its next
/// get_data() or clean_up().
struct ravo_channel_entry_long {
  ravo_time_id event_id;
  ravo_event_chan_ptr_long_entry sbchdata[8];  ///< only the first slot is filled and read
};
static_assert(offsetof(ravo_channel_entry_long, sbchdata) == 16);
static_assert(sizeof(ravo_channel_entry_long) == 272);

/// Processing parameters that a caller attaches to a channel. The library carries and prints them.
struct ravo_chan_prms {
  int start;      ///< first sample wanted
  int inc;        ///< sample increment
  int length;     ///< number of samples
  int func;       ///< code of a processing function
  float tstart;   ///< start on the time axis
  float tinc;     ///< increment on the time axis
  float tlength;  ///< length on the time axis
};
static_assert(sizeof(ravo_chan_prms) == 28);

/// One requested channel, as a caller hands it to the reader. The caller keeps the entry and its
/// text; the reader copies what it needs.
struct daq_channel_entry {
  char* name;  ///< "NAME", "NAME:subchannel", either followed by ";nickname"
  ravo_chan_prms prms;
};

#endif
