// Names the instances of a typed test by the generation that they are for.
#ifndef RAVO_TEST_GENERATION_NAME_H
#define RAVO_TEST_GENERATION_NAME_H

#include <string>

namespace ravo::test {

struct generation_name {
  template <class generation>
  static std::string GetName(int) {
    return std::string(generation::name);
  }
};

}  // namespace ravo::test

#endif
