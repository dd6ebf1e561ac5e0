// Follows data that are still being taken: prints each event as soon as nothing earlier will come.
#include <ravo_dataset.h>

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) try {
  if (argc != 4) return std::fprintf(stderr, "usage: follow_a_run SELECTION CHANNEL SECONDS\n"), 2;
  ravo::follow_options options;
  options.silence = 300;  // a stream that does not go on for five minutes delays the others no longer
  options.end_after = std::atof(argv[3]);
  ravo::follower follower(argv[1], options);
  std::size_t events = 0, late = 0, awaited = 0;
  double last = 0;
  while (const auto followed = follower.next()) {
    ++events;
    late += followed->is_late() ? 1 : 0;
    const ravo::value value = followed->get()[argv[2]];
    if (ravo::has_value(value.status())) last = value.scalar();
    awaited += followed->is_not_yet_recorded(argv[2]) ? 1 : 0;
  }
  std::printf("%zu events, %zu late, %zu not yet recorded; the last value is %g\n", events, late, awaited,
              last);
  std::printf("%s\n%s", ravo::end_of_following_text(follower.ended()), follower.ledger().to_text().c_str());
} catch (const ravo::dataset_error& error) {
  return std::fprintf(stderr, "%s\n", error.what()), 1;
}
