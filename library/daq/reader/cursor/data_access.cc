// Starts a reader of the older generation from a list file and a list of properties, and reads its next
// event.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <new>
#include <string>

#include "format/malloc_owner.h"
#include "format/uninterrupted.h"
#include "ravo_daq_data.h"
#include "ravo_daq_reader.h"

namespace {

constexpr char no_memory[] = "ravo_daq_data::Init: no memory";

int refuse(const char* text, int code) {
  std::cerr << text << std::endl;
  return code;
}

// The first word of a line of the list file; empty for a line that does not name a file.
std::string file_in_line(const char* line) {
  constexpr std::size_t shortest = 5;
  constexpr const char* white = " \t\n\v\f\r";
  const std::size_t length = std::strlen(line);
  if (length < shortest || std::strspn(line, " ") == length) return {};
  if (std::strchr("#%*", line[0])) return {};
  const char* const word = line + std::strspn(line, white);
  return std::string(word, std::strcspn(word, white));
}

struct close_file {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

ravo_daq_data::~ravo_daq_data() { Clean(); }

int ravo_daq_data::Init(const char* files, std::vector<ravo_sprop*>* props, int debug, ravo_time_id* period,
                        ravo_time_id* start, ravo_time_id* stop) try {
  if (!files) return refuse("ravo_daq_data::Init: no input files", -1);
  if (!props || props->empty()) return refuse("ravo_daq_data::Init: no list of properties", -1);
  const std::string list_file = files;  // it may be this object's own
  Clean();
  Res = new std::vector<ravo_channel_entry_long*>;
  Reader = new ravo_daq_reader;
  Reader->clean_up();
  if (Reader->set_synch_mode(0) != 0) return refuse("ravo_daq_data::Init: can not synch mode", -11);
  Reader->set_debug(debug);
  if (Reader->set_period(period) != 0) return refuse("ravo_daq_data::Init: can not set period", -6);
  if (Reader->set_start_point(start) != 0)
    return refuse("ravo_daq_data::Init: can not set start point", -7);
  if (Reader->set_stop_point(stop) != 0) return refuse("ravo_daq_data::Init: can not set stop point", -8);
  Lprop = props;
  if (const int code = add_files(list_file); code != 0) return code;
  if (const int code = add_properties(); code != 0) return code;
  if (Reader->start() != 0) return refuse("ravo_daq_data::Init: can not start Reader", -5);
  Status = 1;
  return 0;
} catch (const std::bad_alloc&) {
  Status = 0;
  return refuse(no_memory, -12);
}

// A line that is longer than the buffer is read in pieces, and each piece counts as a line.
int ravo_daq_data::add_files(const std::string& list_file) {
  if (!list_file.empty()) {
    FileName = strdup(list_file.c_str());
    if (!FileName) return refuse(no_memory, -12);
  }
  const std::unique_ptr<std::FILE, close_file> list(FileName ? ravo::uninterrupted::fopen(FileName, "r")
                                                             : nullptr);
  if (!list) return refuse(("ravo_daq_data::Init: can not open file " + list_file).c_str(), -2);
  Files = new std::vector<char*>;
  Nfile = 0;
  char line[256];
  while (std::fgets(line, sizeof line, list.get())) {
    const std::string name = file_in_line(line);
    if (name.empty()) continue;
    if (Reader->add_file(name.c_str(), true) != 0)
      return refuse("ravo_daq_data::Init: can not add file", -9);
    ravo::malloc_owner<char> copy(strdup(name.c_str()));
    if (!copy) return refuse(no_memory, -12);
    Files->push_back(copy.get());
    static_cast<void>(copy.release());
    ++Nfile;
  }
  return Nfile < 1 ? refuse("ravo_daq_data::Init: no data files", -3) : 0;
}

int ravo_daq_data::add_properties() {
  Nprop = 0;
  for (const ravo_sprop* property : *Lprop) {
    if (!property || !property->prname || property->prlen <= 2) continue;
    // Adds a terminating zero, which a name that fills its length does not have.
    const std::size_t room = static_cast<std::size_t>(property->prlen) - 1;
    std::string name(property->prname, strnlen(property->prname, room));
    daq_channel_entry channel{name.data(), {-1, -1, -1, -1, 0, 0, 0}};
    if (Reader->add_channel(&channel) != 0) return refuse("ravo_daq_data::Init: can not add channel", -10);
    ++Nprop;
  }
  return Nprop < 1 ? refuse("ravo_daq_data::Init: no properties", -4) : 0;
}

int ravo_daq_data::GetData() {
  if (Status != 1) {
    std::cerr << "ravo_daq_data::GetData: wrong status= " << Status << std::endl;
    return -1;
  }
  if (Reader->get_data(nullptr, Res, 1) != 0)
    return refuse("ravo_daq_data::GetData: data are not read", -2);
  if (Res->empty()) {
    std::cerr << "ravo_daq_data::GetData: wrong data size= " << Res->size() << std::endl;
    return -2;
  }
  return 0;
}

void ravo_daq_data::Clean() {
  Status = 0;
  std::free(FileName);
  FileName = nullptr;
  if (Files)
    for (char* name : *Files) std::free(name);
  delete Files;
  Files = nullptr;
  Nfile = 0;
  Nprop = 0;
  Lprop = nullptr;
  delete Res;
  Res = nullptr;
  if (Reader) Reader->clean_up();
  delete Reader;
  Reader = nullptr;
  Debug = 0;
  for (ravo_time_id** point : {&Period, &Start, &Stop}) {
    std::free(*point);
    *point = nullptr;
  }
}
