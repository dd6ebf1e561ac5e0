// Times as people write them on the command line: the dataset layer's grammar, and its help.
#ifndef RAVO_TOOL_TIME_GRAMMAR_H
#define RAVO_TOOL_TIME_GRAMMAR_H

#include "ravo_dataset/time_grammar.h"

namespace ravo::tool {

/// The grammar of times in a few lines, for --help.
extern const char* const time_help;

}  // namespace ravo::tool

#endif
