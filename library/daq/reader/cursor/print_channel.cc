// Prints the event and one of its channels, as the cursor sees them, for a person to read.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <string_view>

#include "cursor/selected_block.h"
#include "ravo_daq_data.h"

namespace {

// Replaces the null name of a nameless member by an empty text: a null text would fail the stream.
std::string_view text_or_nothing(const char* text) { return text ? text : ""; }

void print_values(const float* values, std::int64_t count) {
  constexpr std::int64_t in_a_line = 10;
  for (std::int64_t i = 0; i < count; ++i) {
    if (i % in_a_line == 0) std::cout << (i == 0 ? "          " : "\n          ");
    std::cout << " " << values[i];
  }
  if (count > 0) std::cout << std::endl;
}

}  // namespace

void ravo_daq_getdata::PrintEvent() {
  if (Status != 1 || !EventHeader) {
    std::cerr << "ravo_daq_getdata::PrintEvent: wrong Status= " << Status << std::endl;
    return;
  }
  std::cout << "event " << EventHeader->event_number << " evtype " << EventHeader->event_type << " len "
            << EventHeader->event_length << " time " << EventHeader->event_time.timeup << "-"
            << EventHeader->event_time.timelow << " Nsvrb " << EventHeader->num_svr_block;
  std::cout.flush();
  std::printf("status(hex) %x \n", static_cast<unsigned>(EventHeader->status));
}

void ravo_daq_getdata::PrintProp(int ich) {
  if (Status != 1) {
    std::cerr << "ravo_daq_getdata::PrintProp: wrong Status= " << Status << std::endl;
    return;
  }
  if (ich < 0 || ich >= Nchan) {
    std::cerr << "ravo_daq_getdata::PrintProp: wrong ich= " << ich << " Nchan= " << Nchan << std::endl;
    return;
  }
  if (SetChan(ich) < 1) return;
  char* name = nullptr;
  int dtype = 0, error = 0, ldata = 0, pulse = 0, mask = 0, status = 0;
  unsigned seconds = 0, microseconds = 0;
  if (GetChanInfo(&name, &dtype, &error, &ldata) != 0) return;
  if (GetServBlockInfo(&seconds, &microseconds, nullptr, &pulse, &mask, &status, nullptr) != 0) return;
  const std::size_t room = with_header([](auto* header) { return sizeof header->chname; });
  std::cout << " channel " << std::string_view(name, strnlen(name, room)) << " dtype " << dtype << " error "
            << error << " proptype " << PropType << " mpls " << pulse;
  std::cout.flush();
  std::printf(" tmask(hex) %x status(hex) %x\n", static_cast<unsigned>(mask),
              static_cast<unsigned>(status));
  std::fflush(stdout);
  std::cout << " time " << seconds << "-" << microseconds << " Ldata " << ldata << " Nmemb= " << Nmemb
            << std::endl;
  print_members(ldata);
}

// The members of a name-value block are its records; a frame is one member, whatever its type says.
void ravo_daq_getdata::print_members(int ldata) {
  if (ravo::is_image_type(DataType & 0xffff)) return print_frame();
  char* name = nullptr;
  float value = 0;
  int records = 0;
  if (GetValNamPrm(nullptr, nullptr, nullptr, &records, nullptr) == 0) {
    for (int i = 0; i < records && GetValNamChan(&name, &value, i) == 0; ++i)
      std::cout << std::string_view(name, strnlen(name, sizeof(ravo_name_value_channel::name)))
                << " value= " << value << std::endl;
    return;
  }
  // A block may claim two billion members, each without a sample.
  const int members = std::min(Nmemb, ldata);
  for (int i = 0; i < members; ++i) {
    std::cout << text_or_nothing(GetMembName(i));
    if (PropType == 1) {
      int length = 0;
      const char* const text = GetString(i, &length);
      std::cout << " string: " << text_or_nothing(text) << " len= " << length << std::endl;
    } else if (PropType == 2) {
      if (GetSlowPrm(&value, nullptr, nullptr) == 0) std::cout << " value= " << value;
      std::cout << std::endl;
    } else {
      print_spectrum(i);
    }
  }
}

void ravo_daq_getdata::print_spectrum(int member) {
  float start = 0, inc = 0, groups_inc = 0;
  int ndata = 0, groups = 1;
  if (GetSpectPar(&start, &inc, nullptr, &ndata, member, &groups, &groups_inc, nullptr) != 0) {
    std::cout << std::endl;
    return;
  }
  std::cout << " start " << start << " inc " << inc << " ndata " << ndata << " groups " << groups
            << " groups_inc " << groups_inc << std::endl;
  if (const float* const values = GetSpect(member))
    print_values(values, std::int64_t{std::max(groups, 1)} * ndata);
}

void ravo_daq_getdata::print_frame() {
  int xstart = 0, xinc = 0, nx = 0, ystart = 0, yinc = 0, ny = 0;
  const int length = GetImageSize(&xstart, &xinc, &nx, &ystart, &yinc, &ny);
  std::cout << text_or_nothing(GetMembName(0)) << " xstart " << xstart << " xinc " << xinc << " ystart "
            << ystart << " yinc " << yinc << " nx " << nx << " ny " << ny << " len " << length << std::endl;
}
