#include "channels.h"

#include <array>
#include <cstdio>
#include <string_view>

namespace ravo::simulator {
namespace {

// One row a kind, in the order of channel_kind.
struct kind_row {
  const char* device;  // part of the channel's name
  RAVO_SUBBLOCK_TYPE dtype;
  RAVO_EVTYPE event_type;
  const char* server;
};

constexpr kind_row kinds[] = {
    {"BPM", RAVO_BLOCK_BPM_2010, RAVO_EV_NORMAL, "LINAC.BPM.SERVER"},
    {"TOROID", RAVO_BLOCK_TOROID_2010, RAVO_EV_NORMAL, "LINAC.CHARGE.SERVER"},
    {"RF", RAVO_BLOCK_RF_250K_2010, RAVO_EV_NORMAL, "LINAC.RF.SERVER"},
    {"SPECTRUM", RAVO_BLOCK_GENERIC_SPECT, RAVO_EV_NORMAL, "LINAC.PHOTON.SERVER"},
    {"ENERGY", RAVO_BLOCK_ENERGY_2010, RAVO_EV_NORMAL, "LINAC.ENERGY.SERVER"},
    {"CAMERA", RAVO_BLOCK_IMAGE, RAVO_EV_IMAGE, "LINAC.CAMERA.SERVER"},
    {"CAMERA_EXT", RAVO_BLOCK_IMAGE_EXT, RAVO_EV_IMAGE, "LINAC.CAMERA.SERVER"},
    {"PROFILE", RAVO_BLOCK_IMG_ROI1, RAVO_EV_IMAGE, "LINAC.CAMERA.SERVER"},
    {"MAGNET", RAVO_UPD_BLOCK_2010, RAVO_EV_UPD, "LINAC.MAGNET.SERVER"},
    {"TEMPERATURE", RAVO_ENV_BLOCK, RAVO_EV_ENV, "LINAC.ENV.SERVER"},
    {"STATUS", RAVO_BLOCK_NAME_VALUE, RAVO_EV_NORMAL, "LINAC.STATUS.SERVER"},
    {"MESSAGE", RAVO_BLOCK_NAME_VALUE_STRING, RAVO_EV_NORMAL, "LINAC.STATUS.SERVER"},
    {"RUN_BEGIN", RAVO_BOR_BLOCK_2010, RAVO_EV_BOR, "LINAC.RUN.SERVER"},
    {"RUN_END", RAVO_EOR_BLOCK_2010, RAVO_EV_EOR, "LINAC.RUN.SERVER"},
};
static_assert(std::size(kinds) == static_cast<std::size_t>(channel_kind::run_end) + 1);

const kind_row& row_of(channel_kind kind) { return kinds[static_cast<std::size_t>(kind)]; }

ravo_compression turn(int place) {
  constexpr ravo_compression order[] = {ravo_compression::zlib, ravo_compression::none,
                                        ravo_compression::lzo1x};
  return order[place % 3];
}

bool can_be_compressed(channel_kind kind) {
  return kind != channel_kind::slow && kind != channel_kind::environment &&
         kind != channel_kind::run_begin && kind != channel_kind::run_end;
}

template <std::size_t Size>
void put(char (&field)[Size], std::string_view text) {
  field[text.copy(field, Size - 1)] = 0;
}

struct words {
  std::string_view description, units, axis, axis_units;
};

words words_of(channel_kind kind) {
  switch (kind) {
    case channel_kind::bpm:
      return {"beam position and charge, bunch by bunch", "mm, mm, nC", "bunch time", "us"};
    case channel_kind::toroid:
      return {"charge of the bunches", "nC", "bunch time", "us"};
    case channel_kind::rf:
      return {"field of a cavity", "MV/m, deg", "time in the pulse", "us"};
    case channel_kind::spectrum:
      return {"photon spectrum", "counts", "wavelength", "nm"};
    case channel_kind::energy:
      return {"beam energy", "MeV", "", ""};
    case channel_kind::camera:
      return {"screen at the beam dump", "", "", ""};
    case channel_kind::camera_ext:
      return {"screen behind the collimator", "", "", ""};
    case channel_kind::profile:
      return {"profiles of the beam spot", "", "pixel", ""};
    case channel_kind::slow:
      return {"current of a quadrupole", "A", "", ""};
    case channel_kind::environment:
      return {"temperature in the tunnel", "degC", "", ""};
    case channel_kind::status:
      return {"state of the machine", "", "", ""};
    case channel_kind::message:
      return {"operator's message", "", "", ""};
    case channel_kind::run_begin:
      return {"number of the run that begins", "", "", ""};
    case channel_kind::run_end:
      return {"number of the run that ends", "", "", ""};
  }
  return {};
}

void add_statistics(dim_descr& dimension, std::string_view units) {
  constexpr std::array<std::string_view, 4> names = {"MEAN", "RMS", "MIN", "MAX"};
  for (std::size_t n = 0; n < names.size(); ++n) {
    stat_descr statistic{};
    statistic.stat = static_cast<std::int32_t>(n);
    put(statistic.stat_name, names[n]);
    put(statistic.stat_desc, "of all samples of the member");
    put(statistic.units, units);
    dimension.stats.push_back(statistic);
  }
  dimension.nstats = static_cast<std::int32_t>(dimension.stats.size());
}

// The older generation's type for the same instrument; types that both generations have stay.
RAVO_SUBBLOCK_TYPE older_form(RAVO_SUBBLOCK_TYPE dtype) {
  switch (dtype) {
    case RAVO_BLOCK_BPM_2010:
      return RAVO_BLOCK_BPM;
    case RAVO_BLOCK_TOROID_2010:
      return RAVO_BLOCK_TOROID;
    case RAVO_BLOCK_RF_250K_2010:
      return RAVO_BLOCK_RF_250K;
    case RAVO_BLOCK_ENERGY_2010:
      return RAVO_BLOCK_ENERGY;
    case RAVO_UPD_BLOCK_2010:
      return RAVO_UPD_BLOCK;
    case RAVO_BOR_BLOCK_2010:
      return RAVO_BOR_BLOCK;
    case RAVO_EOR_BLOCK_2010:
      return RAVO_EOR_BLOCK;
    default:
      return dtype;
  }
}

}  // namespace

RAVO_SUBBLOCK_TYPE channel::dtype() const {
  return generation == ravo_file_generation::older ? older_form(current_dtype()) : current_dtype();
}
RAVO_SUBBLOCK_TYPE channel::current_dtype() const { return row_of(kind).dtype; }
RAVO_EVTYPE channel::event_type() const { return row_of(kind).event_type; }
const char* channel::server() const { return row_of(kind).server; }

std::vector<channel> make_channels(const simulated_channels& counts,
                                   std::optional<ravo_compression> compression) {
  std::vector<channel> channels;
  auto add = [&](std::string name, channel_kind kind, int place, presence when) {
    channel made{std::move(name), kind, place, when, ravo_compression::none, -1};
    if (can_be_compressed(kind)) made.compression = compression.value_or(turn(place));
    if (kind == channel_kind::environment) made.env_index = place;
    channels.push_back(std::move(made));
  };
  auto add_all = [&](channel_kind kind, int count) {
    for (int place = 0; place < count; ++place) {
      char name[64];
      std::snprintf(name, sizeof name, "LINAC/%s/%03d", row_of(kind).device, place + 1);
      add(name, kind, place, presence::always);
    }
  };
  add_all(channel_kind::bpm, counts.bpms);
  add_all(channel_kind::toroid, counts.toroids);
  add_all(channel_kind::rf, counts.rfs);
  add_all(channel_kind::spectrum, counts.spectra);
  add_all(channel_kind::energy, counts.energies);
  add_all(channel_kind::camera, counts.cameras);
  add_all(channel_kind::camera_ext, counts.cameras_ext);
  add_all(channel_kind::profile, counts.profiles);
  add_all(channel_kind::slow, counts.slows);
  add_all(channel_kind::environment, counts.environments);
  add_all(channel_kind::status, counts.statuses);
  add_all(channel_kind::message, counts.messages);
  add("LINAC/BPM/HALF_RATE", channel_kind::bpm, 0, presence::every_second);
  add("LINAC/TOROID/GAPS", channel_kind::toroid, 1, presence::gaps);
  add("LINAC/RF/LATE", channel_kind::rf, 2, presence::from_second_file);
  add("LINAC/TOROID/SPARE", channel_kind::toroid, 3, presence::never);
  add("LINAC/RUN/BEGIN", channel_kind::run_begin, 0, presence::always);
  add("LINAC/RUN/END", channel_kind::run_end, 0, presence::always);
  return channels;
}

chan_descr_2010* describe(const channel& what, int key) {
  const words text = words_of(what.kind);
  auto* description = new chan_descr_2010{};
  description->stream = 1;
  description->ev_type = 1u << what.event_type();
  description->dtype = static_cast<std::uint32_t>(what.dtype());
  description->db_key = key;
  put(description->prop_name, what.name);
  put(description->daq_name, what.name);
  put(description->prop_desc, text.description);
  put(description->units, text.units);
  put(description->sb_name, what.server());
  put(description->subsystem, "LINAC");
  if (!text.axis.empty()) {
    auto* dimension = new dim_descr{};
    put(dimension->dim_name, text.axis);
    put(dimension->dim_desc, text.axis);
    put(dimension->units, text.axis_units);
    if (what.kind == channel_kind::spectrum) add_statistics(*dimension, text.units);
    description->dims.push_back(dimension);
  }
  description->ndims = static_cast<std::int32_t>(description->dims.size());
  return description;
}

}  // namespace ravo::simulator
