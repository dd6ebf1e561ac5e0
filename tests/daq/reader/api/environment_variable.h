// Sets, or takes away, an environment variable while the object lives.
#ifndef RAVO_TEST_ENVIRONMENT_VARIABLE_H
#define RAVO_TEST_ENVIRONMENT_VARIABLE_H

#include <cstdlib>
#include <optional>
#include <string>

namespace ravo::test {

class environment_variable {
 public:
  /// Null: the variable is absent.
  environment_variable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    put(value);
  }
  ~environment_variable() { put(before_ ? before_->c_str() : nullptr); }
  environment_variable(const environment_variable&) = delete;
  environment_variable& operator=(const environment_variable&) = delete;

 private:
  void put(const char* value) {
    if (value)
      setenv(name_.c_str(), value, 1);
    else
      unsetenv(name_.c_str());
  }

  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace ravo::test

#endif
