// Information from the headers of the selected channel and its event, and the names of its members.
#include <cstring>
#include <iostream>

#include "arguments.h"
#include "ravo_daq_data.h"
#include "ravo_evutl.h"

using ravo::deliver;

int ravo_daq_getdata::GetMembNumb(const char* name) {
  const int members = get_channel_number(DataType, 0);
  if (!name) return -1;
  for (int i = 0; i < members; ++i)
    if (std::strcmp(get_chan_name(DataType, i), name) == 0) return i;
  return -1;
}

// The interface is not const; nobody may write to the text.
char* ravo_daq_getdata::GetMembName(int i) { return const_cast<char*>(get_chan_name(DataType, i)); }

int ravo_daq_getdata::GetEventInfo(unsigned* event_number, int* event_type, unsigned* event_length,
                                   unsigned* timeup, unsigned* timelow, int* status, int* num_svr_block) {
  if (Status != 1 || !EventHeader) {
    std::cerr << "ravo_daq_getdata::GetEventInfo: wrong Status= " << Status << " EventHeader "
              << EventHeader << std::endl;
    return -1;
  }
  const std::int32_t selected = Ichan;
  const ravo_eventheader* chosen = nullptr;
  std::uint32_t last_slow = 0;
  for (std::int32_t i = 0; i < Nchan; ++i) {
    Ichan = i;
    if (const int code = SetHead(); code != 0) {
      std::cerr << "ravo_daq_getdata::GetEventInfo: failed to SetHead() for  " << i << std::endl;
      return code;
    }
    const std::uint32_t number = EventHeader->event_number;
    const bool only_timed = last_slow == 0 && number == 0 && EventHeader->event_time.timeup != 0;
    if (number <= last_slow && !only_timed) continue;
    chosen = EventHeader;
    if (!is_slow_event(EventHeader->event_type)) break;
    last_slow = number;
  }
  Ichan = selected;
  SetHead();
  if (!chosen) return -1;
  deliver(event_number, chosen->event_number);
  deliver(event_type, chosen->event_type);
  deliver(event_length, chosen->event_length);
  deliver(timeup, chosen->event_time.timeup);
  deliver(timelow, chosen->event_time.timelow);
  deliver(status, chosen->status);
  deliver(num_svr_block, chosen->num_svr_block);
  return 0;
}

int ravo_daq_getdata::GetServBlockInfo(unsigned* timeup, unsigned* timelow, int* ltotal, int* mpulse,
                                       int* tmask, int* status, int* nchan) {
  const auto from = [&](const auto* header) {
    if (Status != 1 || !header) {
      std::cerr << "ravo_daq_getdata::GetServBlockInfo: wrong Status= " << Status << " SrvbHeader "
                << header << std::endl;
      return -1;
    }
    deliver(timeup, header->time.timeup);
    deliver(timelow, header->time.timelow);
    deliver(ltotal, header->ltotal);
    deliver(mpulse, header->mpulse);
    deliver(tmask, header->tmask);
    deliver(status, header->status);
    deliver(nchan, header->nchan);
    return 0;
  };
  return data_2010 ? from(SrvbHeader_2010) : from(SrvbHeader);
}

int ravo_daq_getdata::GetChanInfo(char** name, int* dtype, int* error, int* ldata) {
  const auto from = [&](auto* header) {
    if (Status != 1 || !header) {
      std::cerr << "ravo_daq_getdata::GetChanInfo: wrong Status= " << Status << " ChanHeader " << header
                << std::endl;
      return -1;
    }
    deliver(name, static_cast<char*>(header->chname));
    deliver(dtype, header->dtype);
    deliver(error, header->error);
    deliver(ldata, header->ldata);
    return 0;
  };
  return with_header(from);
}

// Only for older events, and only if the text ends inside the block.
char* ravo_daq_getdata::GetString(int, int* len) {
  const std::size_t room = Status == 1 && ChanHeader ? data_length() : 0;
  const void* const end = room > 0 ? std::memchr(Data, 0, room) : nullptr;
  if (!end) {
    std::cerr << "ravo_daq_getdata::GetString: " << Status;
    return nullptr;
  }
  deliver(len, static_cast<const char*>(end) - Data);
  return Data;
}
