// Whether a reader keeps its files because the run catalogue named them.
#ifndef RAVO_TEST_CATALOGUE_MARK_H
#define RAVO_TEST_CATALOGUE_MARK_H

namespace ravo::test {

/// The older generation knows no such mark.
template <class Reader>
bool is_marked_by_catalogue(const Reader& reader) {
  if constexpr (requires { reader.found_from_run_catalogue; }) return reader.found_from_run_catalogue;
  return false;
}

}  // namespace ravo::test

#endif
