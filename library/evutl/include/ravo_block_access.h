// Gives access to the parts of one decoded block (subheader and data in host order): its members' values,
// spectrum parameters, slow values and camera frame. A block's counts are checked against its `ldata`
// before anything inside is followed: an inconsistent block has no data and no parameters. Blocks are not
// changed, and the pointers handed out point into them.
#ifndef RAVO_BLOCK_ACCESS_H
#define RAVO_BLOCK_ACCESS_H

#include "ravo_export.h"
#include "ravo_payload.h"
#include "ravo_raw_format.h"

/// The values of one member of a spectrum (float after float, group after group) or of a region of
/// interest (0: the profile along x, 1: along y), or the text of a text block (member 0). Null if there is
/// no such member, or the data are not of that kind.
RAVO_EXPORT void* get_pointer_to_data_2009(ravo_serv_block_subhead* block, int member);
RAVO_EXPORT void* get_pointer_to_data_2010(ravo_serv_block_subhead_2010* block, int member);

/// Axis, mean and number of samples of one member of a spectrum or a region of interest. Every output may
/// be null; `*mean` is null if the block holds no means. False on success; true if the type has no
/// spectrum parameters, there is no such member or the block is corrupt: no output is then touched. A
/// spectrum in groups counts all of its samples, since there is no output for groups.
RAVO_EXPORT bool get_spect_params_for_data_type_2009(ravo_serv_block_subhead* block, float* start,
                                                     float* inc, float** mean, int* ndata, int member);

/// The same with groups: `*ndata` samples in each of `*groups` groups. `*stats` is null if the block
/// holds no statistics.
RAVO_EXPORT bool get_spect_params_for_data_type_2010(ravo_serv_block_subhead_2010* block, float* start,
                                                     float* inc, float** mean, int* ndata, int* groups,
                                                     float* groups_inc, ravo_spect_statistics_2010** stats,
                                                     int member);

/// Prints on standard output what the type of a spectrum or region of interest stands for: its number and
/// name, its axis, and its members' names. 0; 1 when the type has no spectrum.
RAVO_EXPORT int get_spect_code_description_2010(const ravo_serv_block_subhead_2010* block);

/// The name of a member of a type (low 16 bits), or null. Static text.
RAVO_EXPORT const char* get_chan_name(int dtype, int member);

/// The number of members of a block: that of its type, except that a generic spectrum states its own.
RAVO_EXPORT int get_channel_number(int dtype, const ravo_serv_block_subhead* block);
RAVO_EXPORT int get_channel_number(int dtype, const ravo_serv_block_subhead_2010* block);

/// The number of update records in a block of the older generation; 0 for other types and corrupt blocks.
RAVO_EXPORT int get_number_of_upd_channels(const ravo_serv_block_subhead* block);

/// Property name, status, time and value of one update record; every output may be null. 0, or non-zero
/// when there is no such record; no output is then touched.
RAVO_EXPORT int get_update_params(ravo_serv_block_subhead* block, int record, char** name, int* status,
                                  time_stamp* time, float* value);

/// Width, height, bytes per pixel and event number of a plain camera frame; every output may be null. 0, or
/// non-zero when the block is not a plain camera frame or is corrupt.
RAVO_EXPORT int get_image_params(const ravo_serv_block_subhead* block, int* nx, int* ny, int* bpp,
                                 unsigned* event_number);

/// The head of an extended camera frame. 0, or non-zero when the block is not such a frame or is corrupt.
RAVO_EXPORT int get_image_ext_params(const ravo_serv_block_subhead* block, ravo_image_ext_frame_head* head);

#endif
