// The texts that the loaders of each generation print.
#ifndef RAVO_DAQ_READER_LOADER_TEXTS_H
#define RAVO_DAQ_READER_LOADER_TEXTS_H

#include "ravo_daq/generation_2009.h"
#include "ravo_daq/generation_2010.h"

namespace ravo {

template <class G>
struct loader_texts;

template <>
struct loader_texts<generation_2010> {
  static constexpr char no_reference_table[] = "Failed to get file reference tabel (2010) err: %d\n";
  static constexpr char no_event_index[] = "Failed to get EIT (2010) err: %d\n";
  static constexpr char no_dictionary[] = "Failed to get CDT (2010) err: %d\n";
  static constexpr char no_pointers_by_list[] = "Failed to get ECPT (with list 2010) err: %d\n";
  static constexpr char no_pointers[] = "Failed to get ECPT (2010) err: %d\n";
  // The channel dictionary's text, on purpose: the environment dictionary has no text of its own.
  static constexpr char no_env_dictionary[] = "Failed to get CDT (2010) err: %d\n";
  static constexpr char no_description_header[] = "Failed to get XCD (2010) err: %d\n";
  static constexpr char no_descriptions[] = "Failed to load XCD (2010) err: %d\n";
  static constexpr char loading_time[] = "GET ALL TABLES %f msec file:%s\n";
};

template <>
struct loader_texts<generation_2009> {
  static constexpr char no_reference_table[] = "Failed to get file reference tabel err: %d\n";
  static constexpr char no_event_index[] = "Failed to get EIT err: %d\n";
  static constexpr char no_dictionary[] = "Failed to get CDT err: %d\n";
  static constexpr char no_pointers_by_list[] = "Failed to get ECPT (with list) err: %d\n";
  static constexpr char no_pointers[] = "Failed to get ECPT err: %d\n";
  static constexpr char no_env_dictionary[] = "Failed to get CDT err: %d\n";
  static constexpr char no_description_header[] = "Failed to get XCD err: %d\n";
  static constexpr char no_descriptions[] = "Failed to load XCD err: %d\n";
  static constexpr char loading_time[] = "  GET ALL TABLES %f msec file: %s\n";
};

}  // namespace ravo

#endif
