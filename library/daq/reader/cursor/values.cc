// The values of the selected channel: slow values, name-value records, spectra and regions of interest.
// Each accessor first checks whether the channel is of its kind and whether the block holds what it
// reads.
#include <cstdio>
#include <iostream>
#include <optional>

#include "arguments.h"
#include "cursor/selected_block.h"
#include "format/payload_view.h"
#include "ravo_daq_data.h"
#include "ravo_evutl.h"

using ravo::deliver;

namespace {

struct slow_value {
  float value;
  int status;
  long seconds;
};

// The generation alone decides which layout is read: the data of other types on slow channels are taken for
// an update too, and there may be bytes after it.
std::optional<slow_value> read_slow_value(bool current, const char* data, std::size_t length) {
  const ravo::update_parts& update =
      current ? ravo::update_layout<ravo_upd_data_block_2010> : ravo::update_layout<ravo_upd_data_block>;
  if (length < update.size) return std::nullopt;
  const ravo::byte_view bytes(data, length, ravo::word_order::host);
  return slow_value{*bytes.at<float>(update.value), *bytes.at<std::int32_t>(update.status),
                    static_cast<long>(*bytes.at<std::uint32_t>(update.time))};
}

// The name-value block after a channel header, if all of its records are inside; there may be bytes after
// them. Names may fill their 80 bytes without a terminating zero; readers of the block must allow for it.
template <class subhead>
ravo_name_value_block* name_value_block(subhead* header) {
  const std::size_t length = ravo::block_length(*header);
  if (length < sizeof(subhead)) return nullptr;
  const ravo::byte_view data(header + 1, length - sizeof(subhead), ravo::word_order::host);
  const std::optional<ravo::name_value_parts> list = ravo::parse_name_value_head(data);
  if (!list || list->size() > data.size()) return nullptr;
  return reinterpret_cast<ravo_name_value_block*>(header + 1);
}

bool is_roi_type(int dtype) {
  const ravo::data_type* const type = ravo::find_data_type(dtype);
  return type != nullptr && type->shape == ravo::payload_shape::roi;
}

}  // namespace

// The type of the selected channel's header; `nullopt` without a header of the event's generation. The
// header that Clean() does not clear may be freed by now, so its type is stored.
std::optional<int> ravo_daq_getdata::header_type() const {
  if (!data_2010) return ChanHeader ? std::optional<int>(ChanHeader->dtype) : std::nullopt;
  if (!ChanHeader_2010) return std::nullopt;
  return Status == 1 ? ChanHeader_2010->dtype : last_header_type;
}

// No line end: programs append their own text to these messages.
void ravo_daq_getdata::complain_of_type(const char* operation) const {
  std::cerr << operation << Status;
  if (const std::optional<int> dtype = header_type())
    std::cerr << " DType" << *dtype;
  else
    std::cerr << (data_2010 ? " ChanHeader_2010 == NULL" : " ChanHeader == NULL");
}

float ravo_daq_getdata::GetSingle(int imb) {
  const std::optional<int> dtype = header_type();
  const int type = dtype.value_or(0) & 0xffff;
  const bool is_update = type == ravo::update_type(data_2010);
  if (!dtype || Status != 1 || (!is_update && type != RAVO_BLOCK_NAME_VALUE)) {
    complain_of_type("ravo_daq_getdata::GetSingle: ");
    return 0;
  }
  if (is_update) {
    const std::optional<slow_value> slow = read_slow_value(data_2010, Data, data_length());
    return slow ? slow->value : 0;
  }
  int ndata = 0;
  ravo_name_value_channel* records = nullptr;
  if (GetValNamPrm(nullptr, nullptr, nullptr, &ndata, &records) != 0) return 0;
  if (imb >= ndata) {
    std::cerr << "ravo_daq_getdata::GetSingle: member number is too big " << imb << " max: " << ndata;
    return 0;
  }
  return imb < 0 ? 0 : records[imb].value;
}

int ravo_daq_getdata::GetSlowPrm(float* dt, int* sts, long* tml) {
  const std::optional<int> dtype = header_type();
  if (Status != 1 || !dtype || (*dtype & 0xffff) != ravo::update_type(data_2010)) return 1;
  const std::optional<slow_value> slow = read_slow_value(data_2010, Data, data_length());
  if (!slow) return 1;
  deliver(dt, slow->value);
  deliver(sts, slow->status);
  deliver(tml, slow->seconds);
  return 0;
}

int ravo_daq_getdata::GetValNamPrm(ravo_name_value_block** blk, int* id, char** comment, int* ndata,
                                   ravo_name_value_channel** data) {
  const std::optional<int> dtype = header_type();
  if (Status != 1 || !dtype || (*dtype & 0xffff) != RAVO_BLOCK_NAME_VALUE) return 1;
  // A copy that replaces the header has no data after it.
  if (with_header([](const void* header) { return header; }) == &belied_channel) return 1;
  ravo_name_value_block* const block = with_header([](auto* header) { return name_value_block(header); });
  if (!block) return 1;
  deliver(blk, block);
  deliver(id, block->id);
  deliver(comment, static_cast<char*>(block->comment));
  deliver(ndata, block->ndata);
  deliver(data, block->data());
  return 0;
}

int ravo_daq_getdata::GetValNamChan(char** name, float* dt, int imb) {
  const std::optional<int> dtype = header_type();
  if (Status != 1 || !dtype || (*dtype & 0xffff) != RAVO_BLOCK_NAME_VALUE) {
    complain_of_type("ravo_daq_getdata::GetValNamChan() ");
    return 1;
  }
  int ndata = 0;
  ravo_name_value_channel* records = nullptr;
  if (GetValNamPrm(nullptr, nullptr, nullptr, &ndata, &records) != 0) return 1;
  if (imb >= ndata) {
    std::cerr << "ravo_daq_getdata::GetValNamChan()  channel is too big " << imb << " max: " << ndata;
    return 1;
  }
  if (imb < 0) return 1;
  deliver(dt, records[imb].value);
  deliver(name, static_cast<char*>(records[imb].name));
  return 0;
}

float* ravo_daq_getdata::GetSpect(int imb) {
  if (imb < 0 || imb >= Nmemb) {
    std::printf("GetSpect() invalid memb:%d  max: %d\n", imb, Nmemb);
    return nullptr;
  }
  if (!Data) return nullptr;
  return static_cast<float*>(with_header([&](auto* header) { return ravo::pointer_to_data(header, imb); }));
}

int ravo_daq_getdata::GetSpectPar(float* start, float* inc, float** mean, int* ndata, int imb, int* groups,
                                  float* groups_inc, ravo_spect_statistics_2010** stats) {
  if (!Data) return -2;
  deliver(groups, 1);
  deliver(groups_inc, 0);
  const bool failed = with_header([&](auto* header) {
    return ravo::spectrum_parameters(header, start, inc, mean, ndata, groups, groups_inc, stats, imb);
  });
  if (!failed) return 0;
  std::cerr << "ravo_daq_getdata::GetSpectPar: error datatype:" << DataType
            << " data_2010: " << (data_2010 ? 1 : 0) << std::endl;
  return -1;
}

float ravo_daq_getdata::GetSpectVal(int imb, int i) {
  int ndata = 0, groups = 1;
  if (GetSpectPar(nullptr, nullptr, nullptr, &ndata, imb, &groups, nullptr, nullptr) != 0) return 0;
  if (groups == 0) groups = 1;
  if (i >= 0 && i < std::int64_t{groups} * ndata) {
    const float* const values = GetSpect(imb);
    return values ? values[i] : 0;
  }
  std::printf("GetSpectVal() index is too big: %d max: %d\n", i, ndata);
  return 0;
}

// The older generation complains, the current one does not.
int ravo_daq_getdata::GetRoiPar(void** blk, float* start, float* inc, float** mean, int* ndata, int ch) {
  const std::optional<int> dtype = header_type();
  if (Status != 1 || !dtype || !is_roi_type(*dtype)) {
    if (!data_2010) complain_of_type("ravo_daq_getdata::GetRoiPrm: ");
    return -1;
  }
  if (!Data) return -2;
  const bool failed = with_header([&](auto* header) {
    return ravo::spectrum_parameters(header, start, inc, mean, ndata, nullptr, nullptr, nullptr, ch);
  });
  if (failed) {
    std::cerr << "ravo_daq_getdata::GetSpectPar: error datatype" << DataType << std::endl;
    return -1;
  }
  deliver(blk, with_header([](auto* header) -> void* { return header + 1; }));
  return 0;
}

int ravo_daq_getdata::GetDataPtrs(const char* name, float* dt, float** arr, int subchan) {
  if (Status != 1) {
    std::cerr << "ravo_daq_getdata::GetDataPtrs: wrong status= " << Status << std::endl;
    return -1;
  }
  if (!Data) return -2;
  if (name && SetProp(name) < 1) return 3;
  switch (PropType) {
    case 1:
    case 4:
      return 3;
    case 2: {
      if (ChanType != 1) {
        const std::optional<slow_value> slow = read_slow_value(data_2010, Data, data_length());
        if (!slow) return 2;
        deliver(dt, slow->value);
        return 0;
      }
      if ((DataType & 0xffff) != RAVO_BLOCK_NAME_VALUE) return 3;
      int ndata = 0;
      ravo_name_value_channel* records = nullptr;
      if (GetValNamPrm(nullptr, nullptr, nullptr, &ndata, &records) != 0) return 2;
      if (subchan < 0 || subchan >= ndata) return 2;
      deliver(dt, records[subchan].value);
      return 0;
    }
    case 3: {
      float start = 0, inc = 0;
      int ndata = 0;
      GetSpectPar(&start, &inc, nullptr, &ndata, subchan, nullptr, nullptr, nullptr);
      float* const values = GetSpect(subchan);
      deliver(arr, values);
      return 0;
    }
    default:
      return 4;
  }
}

int ravo_daq_getdata::GetDescr() {
  if (!Data) return -2;
  return with_header([](auto* header) { return ravo::describe_spectrum(header); });
}
