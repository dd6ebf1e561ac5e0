// The simulated data in the form of the older generation: their data types, and which part of what an
// instrument saw their blocks hold. No channel here has data without a place in the older spectrum.
#ifndef RAVO_SIMULATOR_OLDER_FORM_H
#define RAVO_SIMULATOR_OLDER_FORM_H

#include <vector>

#include "ravo_raw_format.h"

namespace ravo::simulator {

/// The older generation's type for the same instrument; types that both generations have stay.
RAVO_SUBBLOCK_TYPE older_form(RAVO_SUBBLOCK_TYPE dtype);

/// The block of a current type in the shape of its older form, in host order. Spectra get the mean of each
/// member, which every older spectrum has.
std::vector<unsigned char> older_form(RAVO_SUBBLOCK_TYPE dtype, const std::vector<unsigned char>& payload);

}  // namespace ravo::simulator

#endif
