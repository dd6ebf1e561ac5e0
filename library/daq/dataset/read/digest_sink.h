// Makes the digest of a channel from its blocks: each block counts as in events, whatever a column makes of
// it.
#ifndef RAVO_DATASET_DIGEST_SINK_H
#define RAVO_DATASET_DIGEST_SINK_H

#include <memory>
#include <mutex>

#include "ravo_dataset/digest.h"
#include "read/column_scan.h"

namespace ravo::detail {

class digest_sink : public column_sink {
 public:
  /// Adds to `digest`, one thread at a time.
  digest_sink(const column_plan& plan, channel_digest& digest) : plan_(plan), digest_(digest) {}

  std::unique_ptr<chunk_part> begin(std::size_t chunk, std::size_t blocks, block_memory& memory) override;

 private:
  class part;
  const column_plan& plan_;
  channel_digest& digest_;
};

}  // namespace ravo::detail

#endif
