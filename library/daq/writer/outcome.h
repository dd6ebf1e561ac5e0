// The result of an internal step of the writer: success, or a status of the public interface with the
// sentence that get_last_error() returns to the user.
#ifndef RAVO_WRITER_OUTCOME_H
#define RAVO_WRITER_OUTCOME_H

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "ravo_daq/raw_writer.h"

namespace ravo::writer {

struct [[nodiscard]] outcome {
  int status = RAVO_DAQ_WRITER_OK;
  std::string text;

  bool failed() const { return status != RAVO_DAQ_WRITER_OK; }
};

inline outcome refusal(int status, std::string text) { return {status, std::move(text)}; }

/// A refusal by the operating system. `attempt` reads "cannot ..."; `remedy` says what to do.
inline outcome system_refusal(const std::string& attempt, int error, const std::string& remedy) {
  return {RAVO_DAQ_WRITER_IO, attempt + ": " + std::generic_category().message(error) + "; " + remedy};
}

/// What to do about a write that the system refused.
inline const char* remedy_for_writing(int error) {
  return error == EFBIG ? "let files become larger (ulimit -f) and repeat the call"
                        : "free disk space and repeat the call";
}

}  // namespace ravo::writer

#endif
