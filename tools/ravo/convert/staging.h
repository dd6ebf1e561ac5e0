// Where a file is written before it gets its place: a hidden folder beside it, so that it appears
// whole, under its own name, and only once everything about it is in order. While a conversion works
// there it holds a lock, which distinguishes the folder in use from that of a killed conversion.
#ifndef RAVO_TOOL_CONVERT_STAGING_H
#define RAVO_TOOL_CONVERT_STAGING_H

#include <string>
#include <vector>

namespace ravo::tool {

/// Whether an existing file is replaced.
enum class overwriting { refused, allowed };

class staging_folder {
 public:
  /// Creates a folder inside `folder`, and `folder` itself if it does not exist. Throws data_failure.
  explicit staging_folder(const std::string& folder);
  /// Removes the folder with everything that was not published.
  ~staging_folder();
  staging_folder(const staging_folder&) = delete;
  staging_folder& operator=(const staging_folder&) = delete;

  const std::string& path() const { return path_; }
  /// Moves a file of this folder to its place in the folder around it. Throws data_failure.
  void publish(const std::string& file, const std::string& target, overwriting existing) const;

 private:
  bool make();

  std::string folder_;
  std::string path_;
  int lock_ = -1;
};

/// A staging folder that no conversion works in any more.
struct left_behind {
  std::string path;
  std::string problem;  ///< why it is still there; empty: it was removed
};

/// Removes what killed conversions left behind in `folder`.
std::vector<left_behind> remove_left_behind(const std::string& folder);

}  // namespace ravo::tool

#endif
