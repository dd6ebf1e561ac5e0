// What the parts of `ravo catalog` share: where the catalogue is, and how each part runs.
#ifndef RAVO_TOOL_VERB_CATALOG_H
#define RAVO_TOOL_VERB_CATALOG_H

#include <string>
#include <vector>

#include "common/output.h"

namespace ravo::tool {

struct catalog_build_options {
  std::string raw_folder;
  std::string directory;
  std::string experiment;  // empty: as the names have it
  int threads = 0;         // 0: as many as there are processors
  bool json = false;
};

struct catalog_query_options {
  std::string directory = "/daq/ravo/admtemp/";
  std::string experiment = "linac";
  std::string stream = "main";
  std::string runs;                 // "1207" or "1207-1210"; empty: not asked for
  std::vector<std::string> period;  // two times, or none
  std::string zone = "UTC";         // of the times
  bool growing = false;             // files that are not complete too
  bool json = false;
};

struct catalog_list_options {
  std::string directory = "/daq/ravo/admtemp/";
  std::string experiment;  // empty: all
  std::string stream;      // empty: all
  bool json = false;
};

void build_catalog(const catalog_build_options& asked, output& out);
void list_catalog(const catalog_list_options& asked, output& out);
void query_catalog(const catalog_query_options& asked, output& out);

}  // namespace ravo::tool

#endif
