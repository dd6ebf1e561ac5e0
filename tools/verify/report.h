// Findings in the forms for people and for programs.
#ifndef RAVO_VERIFY_REPORT_H
#define RAVO_VERIFY_REPORT_H

#include <string>

#include "common/json_lines.h"
#include "verify/finding.h"

namespace ravo::verify {

/// One line, without its end: "FILE: CHANNEL: what is wrong (detail), x 12, first at event
/// N, offset O; what to do [code]". Control characters of texts out of files are escaped.
std::string text_of(const finding& what);

/// The members "file", "kind", "severity", "channel", "event", "offset", "count", "text", "detail",
/// "remedy"; those that do not apply are null.
tool::json json_of(const finding& what);

/// "1,204".
std::string with_commas(std::uint64_t number);

}  // namespace ravo::verify

#endif
