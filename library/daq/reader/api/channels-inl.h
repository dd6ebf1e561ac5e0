// The channels requested from a reader: they are added, removed and looked up by name, key or nickname.
// Definitions of ravo::daq_reader, included by the source file of each generation.
#ifndef RAVO_DAQ_READER_CHANNELS_INL_H
#define RAVO_DAQ_READER_CHANNELS_INL_H

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "api/channel_name.h"
#include "decode/allocate.h"
#include "format/malloc_owner.h"
#include "ravo_daq/reader.h"

namespace ravo {

/// Whether two requests are for the same data.
template <class ChanParam>
bool is_same_channel(const ChanParam& a, const ChanParam& b) {
  return a.subchan == b.subchan && std::strcmp(a.name, b.name) == 0;
}

template <class G>
int daq_reader<G>::add_channel(const daq_channel_entry* channel) try {
  if (!channel || !channel->name || !*channel->name) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  result_entry wanted{};
  split_channel_name(channel->name, wanted.chan);
  wanted.chan.prms = channel->prms;
  for (const result_entry* entry : results) {
    if (!entry) return store(RAVO_DAQ_READER_INTERN_ERROR);
    if (is_same_channel(entry->chan, wanted.chan)) return RAVO_DAQ_READER_OK;  // the last status stays
  }
  results.reserve(results.size() + 1);  // so that push_back() cannot fail and leak the entry
  chans.reserve(chans.size() + 1);
  malloc_owner<result_entry> memory(static_cast<result_entry*>(ravo::allocate(sizeof wanted)));
  if (!memory) {
    std::printf("Failed to malloc result for %s\n", wanted.chan.name);
    return store(RAVO_DAQ_READER_INTERN_ERROR);
  }
  new (memory.get()) result_entry(wanted);
  results.push_back(memory.get());
  result_entry* added = memory.release();
  chans.push_back(added->chan.name);
  ++nchans;
  return store(RAVO_DAQ_READER_OK);
} catch (const std::bad_alloc&) {
  return store(RAVO_DAQ_READER_INTERN_ERROR);
}

template <class G>
int daq_reader<G>::set_channels(const std::vector<daq_channel_entry*>* channels) {
  if (!channels || channels->empty()) return store(RAVO_DAQ_READER_INV_PARAM);
  for (const daq_channel_entry* channel : *channels) {
    const int status = add_channel(channel);
    if (status != RAVO_DAQ_READER_OK) return status;
  }
  // As many as were asked for, on purpose, even if some of them are the same.
  nchans = static_cast<int>(channels->size());
  return store(RAVO_DAQ_READER_OK);
}

template <class G>
int daq_reader<G>::rem_channel(const char* name) {
  if (!name || !*name) return store(RAVO_DAQ_READER_INV_PARAM);
  if (slicer) return store(RAVO_DAQ_READER_NOT_ALLOWED);
  chan_param wanted{};
  split_channel_name(name, wanted);
  for (std::size_t i = 0; i < results.size(); ++i) {
    if (!results[i] || !is_same_channel(results[i]->chan, wanted)) continue;
    std::erase(chans, results[i]->chan.name);  // by address: a diagnostic may have inserted its own name
    std::free(results[i]->data);
    std::free(results[i]);
    results.erase(results.begin() + static_cast<std::ptrdiff_t>(i));
    --nchans;
    return store(RAVO_DAQ_READER_OK);
  }
  return store(RAVO_DAQ_READER_NOT_FOUND);
}

template <class G>
ravo_chan_prms* daq_reader<G>::get_channel_params(const char* name) {
  if (!name || !*name) return nullptr;
  for (result_entry* entry : results) {
    if (!entry) continue;
    if (std::strcmp(entry->chan.nname, name) == 0 || channel_key(entry->chan).is(name))
      return &entry->chan.prms;
  }
  return nullptr;
}

template <class G>
char* daq_reader<G>::get_nickname(const char* name) {
  if (!name || !*name) return nullptr;
  for (result_entry* entry : results) {
    if (!entry || !nickname_key(entry->chan).is(name)) continue;
    return entry->chan.nname[0] != '\0' ? entry->chan.nname : nullptr;
  }
  return nullptr;
}

}  // namespace ravo

#endif
