// Times as people type them: the input is a time zone, a beginning, and the text of a time. A time that is
// understood is printed, and the printed text means the same time.
#include "ravo_dataset/time_grammar.h"

#include "expect.h"
#include "format/time.h"
#include "input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ravo::fuzz;
  using namespace ravo;
  input from(data, size);
  time_context context;
  context.now = {from.word(), 250'000};
  if (from.flag()) context.from = time_stamp{from.word(), from.half()};
  if (const auto zone = time_zone::named(from.text())) context.zone = *zone;
  const std::string text(from.rest());

  const time_reading reading = read_time(text, context);
  expect(reading.time.has_value() == reading.problem.empty(), "a time is understood or has a problem");
  if (!reading.time) return 0;
  expect(reading.time->timelow < 1'000'000, "a time has microseconds of one second");
  const time_reading again = read_time(time_text(*reading.time), context);
  expect(again.time && again.time->timeup == reading.time->timeup &&
             again.time->timelow == reading.time->timelow,
         "a time that is printed is understood as the same");
  return 0;
}
