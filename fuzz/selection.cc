// The text of a selection: the input is the text. What is understood is written as a text that means the
// same; what is not has a message that says why.
#include "ravo_dataset/selection.h"

#include "expect.h"
#include "input.h"
#include "ravo_dataset/errors.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo;
  selection first;
  try {
    first = selection::parse({reinterpret_cast<const char*>(data), size});
  } catch (const selection_error& refused) {
    fuzz::expect(*refused.what() != '\0', "a selection that is refused has a reason");
    return 0;
  }
  const std::string text = first.to_text();
  try {
    fuzz::expect(selection::parse(text) == first, "a selection that is written is understood as the same");
  } catch (const selection_error&) {
    fuzz::expect(false, "a selection that is written can be read");
  }
  return 0;
}
