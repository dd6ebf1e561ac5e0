// The channel descriptions of a run: checked, copied in full, and returned as the XML text of a file.
#ifndef RAVO_WRITER_DESCRIPTIONS_H
#define RAVO_WRITER_DESCRIPTIONS_H

#include <string>
#include <vector>

#include "outcome.h"
#include "ravo_raw_format.h"

namespace ravo::writer {

class descriptions {
 public:
  descriptions() = default;
  ~descriptions() { clear(); }
  descriptions(const descriptions&) = delete;
  descriptions& operator=(const descriptions&) = delete;

  /// Whether a description is consistent.
  static outcome check(const chan_descr_2010& description);
  /// Keeps a copy. A description without a property name gets the name of its channel.
  void add(const chan_descr_2010& description, const std::string& channel);
  void remove_last();
  void clear();
  std::string text() const;

 private:
  std::vector<chan_descr_2010*> list_;
};

}  // namespace ravo::writer

#endif
