// Owner of the result of a look-up in the run catalogue: it frees the records with all that they hold.
#ifndef RAVO_DAQ_FILES_CATALOGUE_ANSWER_H
#define RAVO_DAQ_FILES_CATALOGUE_ANSWER_H

#include <string>
#include <vector>

#include "ravo_run_catalogue.h"

namespace ravo {

class catalogue_answer {
 public:
  using records = std::vector<ravo_root_xml_files*>;
  using free_function = void(records*);

  explicit catalogue_answer(free_function* free_records = ravo_free_root_xml_files) : free_(free_records) {}
  ~catalogue_answer() { free_(&records_); }
  catalogue_answer(const catalogue_answer&) = delete;
  catalogue_answer& operator=(const catalogue_answer&) = delete;

  /// Where a look-up stores its answer.
  records* get() { return &records_; }

  /// The paths of all raw files, in the order of the answer. A site's library may have left null entries.
  std::vector<std::string> paths() const {
    std::vector<std::string> all;
    for (const ravo_root_xml_files* record : records_) {
      if (!record) continue;
      for (const std::string* path : record->rfiles)
        if (path) all.push_back(*path);
    }
    return all;
  }

 private:
  free_function* free_;
  records records_;
};

}  // namespace ravo

#endif
