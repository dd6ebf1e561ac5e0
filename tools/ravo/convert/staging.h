// Where a file is written before it gets its place: a hidden folder beside it, so that it appears whole,
// under its own name, and only once everything about it is in order.
#ifndef RAVO_TOOL_CONVERT_STAGING_H
#define RAVO_TOOL_CONVERT_STAGING_H

#include <string>

namespace ravo::tool {

/// Whether a file that is there already is replaced.
enum class overwriting { refused, allowed };

class staging_folder {
 public:
  /// Made inside `folder`, which is made when it is not there. Throws data_failure.
  explicit staging_folder(const std::string& folder);
  /// Removes it with all that was not published.
  ~staging_folder();
  staging_folder(const staging_folder&) = delete;
  staging_folder& operator=(const staging_folder&) = delete;

  const std::string& path() const { return path_; }
  /// Gives a file of this folder its place in the folder around it. Throws data_failure.
  void publish(const std::string& file, const std::string& target, overwriting existing) const;

 private:
  std::string folder_;
  std::string path_;
};

}  // namespace ravo::tool

#endif
