// Prints what the data access object was asked to read, and the event that it read last. Its results come
// from a reader of older files: every block is read in the older layout, whatever its event header says.
#include <algorithm>
#include <cstring>
#include <iostream>
#include <string_view>

#include "cursor/selected_block.h"
#include "ravo_daq_data.h"
#include "ravo_evutl.h"

namespace {

using block_head = ravo_serv_block_subhead;

// Visits every channel that has a block of the older layout, with its index in the result.
template <class action>
void for_each_block(const std::vector<ravo_channel_entry_long*>& entries, action&& act) {
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (!entries[i]) continue;
    if (block_head* const block = ravo::older_block(*entries[i])) act(static_cast<int>(i), *block);
  }
}

int type_of(const block_head& block) { return block.dtype & 0xffff; }

template <std::size_t size>
std::string_view text_of(const char (&field)[size]) {
  return {field, strnlen(field, size)};
}

struct axis {
  float start = 0;
  float inc = 1;
  int ndata = 0;
};

axis axis_of(block_head& block) {
  axis found;
  get_spect_params_for_data_type_2009(&block, &found.start, &found.inc, nullptr, &found.ndata, 0);
  return found;
}

void print_frame_head(const ravo_image_ext_frame_head& head) {
  std::cout << " ev_num " << head.event << " len " << head.length << " width " << head.width << " height "
            << head.height << " aoi_width " << head.aoi_width << " aoi_height " << head.aoi_height
            << " x_start " << head.x_start << " y_start " << head.y_start << " bpp " << head.bpp
            << " ebitpp " << head.ebitpp << " hbin " << head.hbin << " vbin " << head.vbin
            << " source_format " << head.source_format << " image_format " << head.image_format << " frame "
            << head.frame << " event " << head.event << " scale_x " << head.scale_x << " scale_y "
            << head.scale_y << " image_rotation " << head.image_rotation << " fspare2 " << head.fspare2
            << " fspare3 " << head.fspare3 << " fspare4 " << head.fspare4 << " image_flags "
            << head.image_flags << " ispare2 " << head.ispare2 << " ispare3 " << head.ispare3 << " ispare4 "
            << head.ispare4;
}

}  // namespace

void ravo_daq_data::PrintFiles() const {
  if (!Files) return;
  std::cout << "ravo_daq_data: Nfile= " << Nfile << " = " << Files->size() << " Files " << Files
            << std::endl;
  for (std::size_t i = 0; i < Files->size(); ++i) std::cout << i << ": " << (*Files)[i] << std::endl;
}

// Null texts are inserted as they are: the stream then fails, which programs expect.
void ravo_daq_data::PrintProp() const {
  if (!Lprop) return;
  std::cout << "ravo_daq_data: Nprop= " << Nprop << " = " << Lprop->size() << " Lprop " << Lprop
            << std::endl;
  for (std::size_t i = 0; i < Lprop->size(); ++i) {
    const ravo_sprop* const property = (*Lprop)[i];
    if (!property) continue;
    std::cout << i << ": " << property->name << " len " << property->len << " " << property->prname
              << " prlen " << property->prlen << " nmemb " << property->nmemb << " dtype "
              << property->dtype << std::endl;
  }
}

void ravo_daq_data::PrintHeader() const {
  if (Status != 1 || !Res) return;
  std::cout << "ravo_daq_data::PrintHeader: nprop= " << Res->size() << std::endl;
  const ravo_channel_entry_long* const first = Res->empty() ? nullptr : Res->front();
  if (!first || !first->sbchdata[0].evhd) return;
  const auto& header = *ravo::at_address<const ravo_eventheader>(first->sbchdata[0].evhd);
  std::cout << " event " << header.event_number << " time " << first->event_id.time.timeup << " - "
            << first->event_id.time.timelow << " type " << header.event_type << " status " << header.status
            << " Nsvrb " << header.num_svr_block << " len " << header.event_length << std::endl;
}

void ravo_daq_data::PrintFast() const {
  if (Status != 1 || !Res) return;
  for_each_block(*Res, [](int i, block_head& block) {
    const int type = type_of(block);
    if (type < RAVO_BLOCK_BPM || type > RAVO_BLOCK_WSS_COR || type == RAVO_BLOCK_IMAGE) return;
    const axis along = axis_of(block);
    // The index in the result serves as the member's number: programs rely on these addresses.
    const void* const values = get_pointer_to_data_2009(&block, i);
    std::cout << "  " << i << " fast: " << text_of(block.chname) << " dtype " << block.dtype << " error "
              << block.error << " length " << block.ldata << " start " << along.start << " inc "
              << along.inc << " ndata " << along.ndata << " arr " << values << std::endl;
  });
}

void ravo_daq_data::PrintNameVal() const {
  if (Status != 1 || !Res) return;
  for_each_block(*Res, [](int i, block_head& block) {
    if (block.dtype != RAVO_BLOCK_NAME_VALUE) return;
    const axis along = axis_of(block);
    std::cout << "  " << i << " NameValue: " << text_of(block.chname) << " dtype " << block.dtype
              << " error " << block.error << " length " << block.ldata << " start " << along.start
              << " inc " << along.inc << " ndata " << along.ndata << std::endl;
  });
}

void ravo_daq_data::PrintSlow() const {
  if (Status != 1 || !Res) return;
  for_each_block(*Res, [this](int i, block_head& block) {
    if (type_of(block) >= RAVO_BLOCK_BPM) return;
    const time_stamp time = (*Res)[static_cast<std::size_t>(i)]->event_id.time;
    const int updates = get_number_of_upd_channels(&block);
    for (int k = 0; k < updates; ++k) {
      char* name = nullptr;
      int status = 0;
      float value = 0;
      get_update_params(&block, k, &name, &status, nullptr, &value);
      std::cout << "  " << i << " slow: " << name << " dtype " << block.dtype << " stat " << status
                << " time " << time.timeup << " - " << time.timelow << " value " << value << std::endl;
    }
  });
}

void ravo_daq_data::PrintImage() const {
  if (Status != 1 || !Res) return;
  for_each_block(*Res, [](int i, block_head& block) {
    if (type_of(block) == RAVO_BLOCK_IMAGE) {
      int nx = 0, ny = 0, bpp = 0;
      unsigned event_number = 0;
      get_image_params(&block, &nx, &ny, &bpp, &event_number);
      std::cout << "  " << i << " image: " << text_of(block.chname) << " dtype " << block.dtype << " error "
                << block.error << " length " << block.ldata << " x " << nx << " y " << ny << " bpp " << bpp
                << " ev_num " << event_number << std::endl;
    } else if (type_of(block) == RAVO_BLOCK_IMAGE_EXT) {
      ravo_image_ext_frame_head head{};
      get_image_ext_params(&block, &head);
      std::cout << "  " << i << " image_ext: " << text_of(block.chname) << " dtype " << block.dtype
                << " error " << block.error;
      print_frame_head(head);
      std::cout << std::endl;
    }
  });
}

void ravo_daq_data::PrintAll() const {
  if (Status != 1) return;
  PrintHeader();
  PrintFast();
  PrintNameVal();
  PrintSlow();
  PrintImage();
}
