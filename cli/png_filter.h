// The filter step of PNG encoding for 8-bit RGB rows.
#pragma once

#include <cstddef>

namespace tsn {

// Writes the filter type byte and the `n` bytes of `row` filtered against
// `up` (the row above; all zero for the top row) with whichever of the five
// PNG filters costs least by the usual rule: the sum of the filtered bytes
// taken as signed magnitudes, the lower type winning a tie. `out` holds
// n + 1 bytes.
void FilterPngRow(const unsigned char* row, const unsigned char* up, std::size_t n,
                  unsigned char* out);

// The `n` bytes of a row of blue-green-red pixels (the picture's order) in
// the file's red-green-blue order.
void RgbOfBgrRow(const unsigned char* bgr, std::size_t n, unsigned char* rgb);

}  // namespace tsn
