// How a verb prints: for people, or one JSON object a line.
#ifndef RAVO_TOOL_PRINT_FORM_H
#define RAVO_TOOL_PRINT_FORM_H

namespace ravo::tool {

enum class print_form { table, lines };

}  // namespace ravo::tool

#endif
