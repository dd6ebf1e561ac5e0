// The layout of a channel's data, shape by shape, in host order. Which data type has which shape,
// and how many members with which names, is in ravo_data_types.h. On disk the same records are
// big-endian words; text and pixels are bytes and stay as they are.
#ifndef RAVO_PAYLOAD_H
#define RAVO_PAYLOAD_H

#include <cstddef>
#include <cstdint>

/// Bits of ravo_spect_head_2010::flags.
inline constexpr std::uint32_t RAVO_SPECT_HAS_MEANS = 1;
inline constexpr std::uint32_t RAVO_SPECT_HAS_STATISTICS = 2;

/// The most members of a generic spectrum.
inline constexpr std::int32_t RAVO_SPECT_MOST_MEMBERS = 65535;

/// Head of a current-generation spectrum block. After it follow, in this order and without gaps:
/// one float mean per member (RAVO_SPECT_HAS_MEANS), one ravo_spect_statistics_2010 per member
/// (RAVO_SPECT_HAS_STATISTICS), then, member by member, groups x samples floats, group after group.
/// A scalar is a spectrum of one sample in one group.
struct ravo_spect_head_2010 {
  std::int32_t members;  ///< number of members; fixed by the data type, except for the generic spectrum
  std::int32_t samples;  ///< samples in one group
  std::int32_t groups;   ///< groups of samples, at least 1
  float start;           ///< axis value of the first sample of each group
  float inc;             ///< axis distance of neighbouring samples
  float groups_inc;      ///< axis distance of neighbouring groups
  std::uint32_t flags;   ///< RAVO_SPECT_HAS_... bits; all other bits are 0
  std::int32_t spare;    ///< 0
};
static_assert(sizeof(ravo_spect_head_2010) == 32);
static_assert(offsetof(ravo_spect_head_2010, start) == 12);
static_assert(offsetof(ravo_spect_head_2010, flags) == 24);

/// Statistics of one member, computed by the front end. Bit n of mask: val[n] is valid.
struct ravo_spect_statistics_2010 {
  std::uint32_t mask;
  float val[32];
};
static_assert(sizeof(ravo_spect_statistics_2010) == 132);

/// Head of an older-generation spectrum block. After it follow one float mean per member, then
/// `samples` floats for each member in turn.
struct ravo_spect_head {
  std::int32_t members;
  std::int32_t samples;
  float start;  ///< axis value of the first sample
  float inc;    ///< axis distance of neighbouring samples
};
static_assert(sizeof(ravo_spect_head) == 16);

/// Head of a region-of-interest block. After it follow the profile along x (width floats, member 0)
/// and the profile along y (height floats, member 1).
struct ravo_roi_head {
  std::int32_t x_start;
  std::int32_t y_start;
  std::int32_t width;
  std::int32_t height;
};
static_assert(sizeof(ravo_roi_head) == 16);

/// Head of a plain camera frame; the pixels follow it.
struct ravo_image_frame_head {
  std::uint32_t w;         ///< low 16 bits: width in pixels; high 16 bits: x start
  std::uint32_t h;         ///< low 16 bits: height in pixels; high 16 bits: y start
  std::uint32_t bpp;       ///< bits 0-3: bytes per pixel (0 means 1); 4-17: y increment; 18-31: x increment
  std::int32_t compr;      ///< compression indicator
  std::uint32_t frame;     ///< frame number
  std::uint32_t event_nm;  ///< event number
  std::int32_t length;     ///< number of pixel bytes
};
static_assert(sizeof(ravo_image_frame_head) == 28);
static_assert(offsetof(ravo_image_frame_head, length) == 24);

/// A plain camera frame: row after row of pixels follows its head, each with its most significant byte
/// first.
struct ravo_image_block {
  ravo_image_frame_head head;
  char* pixels() { return reinterpret_cast<char*>(this + 1); }
  const char* pixels() const { return reinterpret_cast<const char*>(this + 1); }
};
static_assert(sizeof(ravo_image_block) == 28);

/// Head of an extended camera frame; the pixels follow it.
struct ravo_image_ext_frame_head {
  std::int32_t width;          ///< full sensor width
  std::int32_t height;         ///< full sensor height
  std::int32_t aoi_width;      ///< width of the area of interest
  std::int32_t aoi_height;     ///< height of the area of interest
  std::int32_t x_start;        ///< x start of the area
  std::int32_t y_start;        ///< y start of the area
  std::int32_t bpp;            ///< bytes per pixel
  std::int32_t ebitpp;         ///< effective bits per pixel
  std::int32_t hbin;           ///< horizontal binning
  std::int32_t vbin;           ///< vertical binning
  std::int32_t source_format;  ///< code, passed on as it is
  std::int32_t image_format;   ///< code, passed on as it is
  std::uint32_t frame;         ///< frame number
  std::uint32_t event;         ///< event number
  float scale_x;
  float scale_y;
  float image_rotation;
  float fspare2;
  float fspare3;
  float fspare4;
  std::int32_t image_flags;
  std::int32_t ispare2;
  std::int32_t ispare3;
  std::int32_t ispare4;
  std::int32_t length;  ///< number of pixel bytes
};
static_assert(sizeof(ravo_image_ext_frame_head) == 100);
static_assert(offsetof(ravo_image_ext_frame_head, frame) == 48);
static_assert(offsetof(ravo_image_ext_frame_head, scale_x) == 56);
static_assert(offsetof(ravo_image_ext_frame_head, image_flags) == 80);
static_assert(offsetof(ravo_image_ext_frame_head, length) == 96);

/// An extended camera frame: its pixels follow like those of a plain one.
struct ravo_image_ext_block {
  ravo_image_ext_frame_head head;
  char* pixels() { return reinterpret_cast<char*>(this + 1); }
  const char* pixels() const { return reinterpret_cast<const char*>(this + 1); }
};
static_assert(sizeof(ravo_image_ext_block) == 100);

/// One record of a name-value block.
struct ravo_name_value_channel {
  char name[80];  ///< zero-terminated
  float value;
};
static_assert(sizeof(ravo_name_value_channel) == 84);

/// Head of a name-value block; ndata records follow it.
struct ravo_name_value_block {
  std::int32_t id;
  char comment[80];  ///< zero-terminated
  std::int32_t ndata;
  ravo_name_value_channel* data() { return reinterpret_cast<ravo_name_value_channel*>(this + 1); }
  const ravo_name_value_channel* data() const {
    return reinterpret_cast<const ravo_name_value_channel*>(this + 1);
  }
};
static_assert(sizeof(ravo_name_value_block) == 88);
static_assert(offsetof(ravo_name_value_block, ndata) == 84);

#endif
