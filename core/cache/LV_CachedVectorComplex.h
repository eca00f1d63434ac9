// Vectors of complex numbers, the working storage of spectral transforms. New
// elements are 0; a complex number has no missing value of its own.
#pragma once

#include <complex>
#include <span>

#include "core/cache/LV_CachedVector.h"

namespace lv {

class TLVCachedVectorComplex : public TLVCachedVector<std::complex<double>> {
 public:
  // Replaces the contents with the real signal `values` (imaginary parts 0), the
  // usual input of a forward transform.
  void AssignReal(std::span<const double> values);
};

}  // namespace lv
