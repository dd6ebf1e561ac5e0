// The readers and writers of the two generations, and the payload that both writers take for a spectrum,
// for typed tests that write real files.
#ifndef RAVO_TEST_READER_WRITERS_H
#define RAVO_TEST_READER_WRITERS_H

#include <string>

#include "generations.h"
#include "ravo_daq_reader.h"
#include "ravo_daq_reader_2010.h"
#include "ravo_daq_writer.h"
#include "ravo_daq_writer_2010.h"

namespace ravo::test {

template <class generation>
using writer_of = typename generation::writer;

/// What precedes the samples of a spectrum in host order: the header, and where the generation has them
/// the members' means, all 0.
template <class generation>
std::string spectrum_start(int members, int samples) {
  typename generation::spectrum_head head{};
  head.members = members;
  head.samples = samples;
  head.inc = 1;
  if constexpr (requires { head.groups; }) head.groups = 1;
  std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
  if (generation::has_means) bytes.append(static_cast<std::size_t>(members) * sizeof(float), '\0');
  return bytes;
}

}  // namespace ravo::test

#endif
