#include "cursor_questions.h"

#include <cstring>

#include "expect.h"
#include "ravo_daq_data.h"

namespace ravo::fuzz {
namespace {

constexpr int most_members = 9;

void ask_headers(ravo_daq_getdata& cursor) {
  unsigned number = 0, length = 0, up = 0, low = 0;
  int type = 0, status = 0, blocks = 0, total = 0, pulse = 0, mask = 0, channels = 0, error = 0, data = 0;
  char* name = nullptr;
  static_cast<void>(cursor.GetEventInfo(&number, &type, &length, &up, &low, &status, &blocks));
  static_cast<void>(cursor.GetServBlockInfo(&up, &low, &total, &pulse, &mask, &status, &channels));
  if (cursor.GetChanInfo(&name, &type, &error, &data) == 0 && name != nullptr)
    touch(name, std::strlen(name));
  // For a slow channel without data, it points to where they would begin.
  const char* const property = cursor.GetPropName();
  if (property != nullptr && (cursor.GetChanType() != 2 || cursor.GetData() != nullptr)) touch(property, 1);
  static_cast<void>(cursor.GetDeviceType());
  static_cast<void>(cursor.GetNmemb());
  for (int member = -1; member <= most_members; ++member)
    if (const char* its_name = cursor.GetMembName(member)) touch(its_name, std::strlen(its_name));
  static_cast<void>(cursor.GetMembNumb("CH0"));
  cursor.PrintEvent();
  cursor.PrintProp(cursor.GetChanNumb());
}

void ask_values(ravo_daq_getdata& cursor) {
  int length = 0, status = 0, id = 0, records = 0;
  long time = 0;
  float value = 0;
  if (const char* text = cursor.GetString(0, &length)) touch(text, static_cast<std::size_t>(length));
  static_cast<void>(cursor.GetSlowPrm(&value, &status, &time));
  ravo_name_value_block* block = nullptr;
  ravo_name_value_channel* first = nullptr;
  char* comment = nullptr;
  if (cursor.GetValNamPrm(&block, &id, &comment, &records, &first) == 0) {
    touch(first, static_cast<std::size_t>(records) * sizeof *first);
    touch(comment, std::strlen(comment));
  }
  for (int member = -1; member <= most_members; ++member) {
    char* name = nullptr;
    static_cast<void>(cursor.GetSingle(member));
    if (cursor.GetValNamChan(&name, &value, member) == 0) touch(name, std::strlen(name));
    float start = 0, step = 0, groups_step = 0;
    float* mean = nullptr;
    ravo_spect_statistics_2010* statistics = nullptr;
    int samples = 0, groups = 0;
    const float* const values = cursor.GetSpect(member);
    if (cursor.GetSpectPar(&start, &step, &mean, &samples, member, &groups, &groups_step, &statistics) ==
            0 &&
        values != nullptr) {
      const auto count = static_cast<std::size_t>(samples) * static_cast<std::size_t>(groups);
      touch(values, count * sizeof *values);
      if (mean != nullptr) touch(mean, sizeof *mean);
      if (statistics != nullptr) touch(statistics, sizeof *statistics);
      if (count > 0)
        expect(std::memcmp(values, cursor.GetSpect(member), sizeof *values) == 0, "a spectrum stays");
    }
    for (int i : {-1, 0, 1, samples / 2, samples}) static_cast<void>(cursor.GetSpectVal(member, i));
    void* roi = nullptr;
    if (cursor.GetRoiPar(&roi, &start, &step, &mean, &samples, member) == 0)
      touch(roi, sizeof(ravo_roi_head));
    float* array = nullptr;
    static_cast<void>(cursor.GetDataPtrs(nullptr, &value, &array, member));
  }
  static_cast<void>(cursor.GetDescr());
}

void ask_image(ravo_daq_getdata& cursor) {
  int frame = 0, compression = 0, pixel = 0, length = 0, start = 0, step = 0, width = 0, height = 0;
  static_cast<void>(cursor.GetImagePar(&frame, &compression, &pixel, &length));
  static_cast<void>(cursor.GetImageSize(&start, &step, &width, &start, &step, &height));
  if (const auto* head = cursor.GetImageHeader()) touch(head, sizeof *head);
  if (const char* pixels = cursor.GetImage(); pixels != nullptr && length > 0)
    touch(pixels, static_cast<std::size_t>(length));
  if (const float* converted = cursor.ConvertImage()) {
    touch(converted,
          static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * sizeof *converted);
    expect(converted == cursor.GetImageFloat(), "the image that was converted is the last one");
  }
  for (int x : {-1, 0, width / 2, width})
    for (int y : {-1, 0, height / 2, height}) static_cast<void>(cursor.GetImageVal(x, y));
}

}  // namespace

void ask_everything(ravo_daq_getdata& cursor) {
  ask_headers(cursor);
  ask_values(cursor);
  ask_image(cursor);
}

}  // namespace ravo::fuzz
