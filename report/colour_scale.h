// Colours for signed quantities.
#ifndef PRIMFIT_REPORT_COLOUR_SCALE_H_
#define PRIMFIT_REPORT_COLOUR_SCALE_H_

#include <array>
#include <cstdint>

namespace primfit::report {

/// Red, green, blue of sRGB.
using Colour = std::array<std::uint8_t, 3>;

/// From blue at -1 over light grey at 0 to red at 1: the diverging scale of Moreland (Diverging color maps
/// for scientific visualization, 2009), in which equal steps look equally large and which the colour-blind
/// can read.
/// @param value  is taken to the nearer end beyond these
Colour DivergingColour(double value);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_COLOUR_SCALE_H_
