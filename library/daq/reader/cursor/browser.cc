// Lists the channels of one raw file of the older generation, with a reader that is used for nothing
// else.
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <new>

#include "format/malloc_owner.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"

namespace {

// The number of the only bit of a mask, if it is among the lowest 30; 0 for every other mask.
int single_bit(int mask) {
  constexpr int highest = 29;
  const unsigned bits = static_cast<unsigned>(mask);
  if (!std::has_single_bit(bits)) return 0;
  const int number = std::countr_zero(bits);
  return number <= highest ? number : 0;
}

}  // namespace

ravo_daq_browser::~ravo_daq_browser() { Clean(); }

// Does not clean an earlier state: pointers that were handed out may still be in use.
int ravo_daq_browser::Init(const char* name) try {
  if (!name) {
    std::cerr << "ravo_daq_browser::Init: no input filename" << std::endl;
    return -1;
  }
  const std::size_t length = std::strlen(name);
  if (length < 2) {
    std::cerr << "ravo_daq_browser::Init: wrong filename len= " << length << std::endl;
    return -2;
  }
  std::unique_ptr<ravo_daq_reader> reader(new (std::nothrow) ravo_daq_reader);
  ravo::malloc_owner<char> copy(reader ? strdup(name) : nullptr);
  if (!copy) {
    std::cerr << "ravo_daq_browser::Init: no memory" << std::endl;
    return -3;
  }
  if (Reader) earlier.push_back({FileName, Reader});
  FileName = copy.release();
  Reader = reader.release();
  Status = 1;
  return 0;
} catch (const std::bad_alloc&) {
  std::cerr << "ravo_daq_browser::Init: no memory" << std::endl;
  return -3;
}

int ravo_daq_browser::GetNchan() {
  if (Status != 1) {
    std::cerr << "ravo_daq_browser::GetNchan: wrong Status " << Status << std::endl;
    return -1;
  }
  int count = 0;
  return Reader->get_number_of_channels(FileName, &count, 0) == 0 ? count : -2;
}

char* ravo_daq_browser::GetChanName(int i, int* count, int* evmask, int* dtmask) {
  if (Status != 1) {
    // The text is that of GetNchan: programs search for it.
    std::cerr << "ravo_daq_browser::GetNchan: wrong Status " << Status << std::endl;
    return nullptr;
  }
  int events = 0;
  char* const name = Reader->get_channel_name(i, &events, evmask, dtmask);
  if (count) *count = events;
  return events > 0 ? name : nullptr;
}

void ravo_daq_browser::ListChan() {
  if (Status != 1) {
    std::cerr << "ravo_daq_browser::ListChan: wrong Status " << Status << std::endl;
    return;
  }
  Reader->print_all_channels(FileName);
}

void ravo_daq_browser::PrintChan() {
  if (Status != 1) {
    std::cerr << "ravo_daq_browser::PrintChan: wrong Status " << Status << std::endl;
    return;
  }
  const int channels = GetNchan();
  int printed = 0;
  for (int i = 0; i < channels; ++i) {
    int count = 0, evmask = 0, dtmask = 0;
    const char* const name = GetChanName(i, &count, &evmask, &dtmask);
    if (!name || count < 1) continue;
    std::printf("%d-%d %d  evtype: %d mask: %xd dtype: %d mask:%x %s\n", printed, i, count,
                single_bit(evmask), static_cast<unsigned>(evmask), single_bit(dtmask),
                static_cast<unsigned>(dtmask), name);
    ++printed;
  }
  std::cout << "collected " << printed << "-" << channels << " channels" << std::endl;
}

void ravo_daq_browser::Clean() {
  for (const browsed_file& file : earlier) release(file);
  earlier.clear();
  release({FileName, Reader});
  FileName = nullptr;
  Reader = nullptr;
  Status = 0;
}

void ravo_daq_browser::release(const browsed_file& file) {
  std::free(file.name);
  if (file.reader) file.reader->clean_up();
  delete file.reader;
}
