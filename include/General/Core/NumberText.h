// Numbers to text and text to numbers in the forms of the runtime the library's files were
// first written with, so that text files and golden data stay byte-identical. Every string,
// text filter and parser of the library converts through here, never through the locale.
//
// Float to text:
//   - Digits come from the value rounded correctly to 17 significant digits; a shorter
//     precision rounds that digit string half up (0.125 at two places is "0.13"), and digits
//     beyond the 17th are '0'.
//   - Exponents have a sign and at least three digits: "1.5e+020", "2.5e-005".
//   - Infinities are "1.#INF" and "-1.#INF"; a NaN is "1.#QNAN", or "-1.#IND" when its sign bit
//     is set. These texts do not depend on the precision.
//   - A negative zero keeps its sign: "-0.".
//   FormatGcvt is `_gcvt`: with m the decimal exponent of the value, the form is fixed with
//   `digits - m - 1` places when -1 <= m < digits, else exponential with `digits - 1` places;
//   trailing zeros of the fraction are then dropped but the point stays:
//   1.5 -> "1.5", 100 -> "100.", 0 -> "0.", 0.05 -> "5.e-002", 1e20 -> "1.e+020" (six digits);
//   1e20 with one digit -> "1e+020".
//   FormatFloat is printf's %e, %f and %g (and upper-case forms) with those rules:
//   %g of 1e20 -> "1e+020", %e of 1.5 -> "1.500000e+000".
//
// Text to number: TextToInt is `atoi` with 32-bit wrap-around, TextToUnsigned is `strtoul`
// on 32 bits (an overflow gives 0xFFFFFFFF, a minus sign negates modulo 2^32), TextToDouble is
// `atof`/`strtod` on the decimal form only: no hexadecimal, no "inf" or "nan", and 'd' or 'D'
// accepted as the exponent letter beside 'e' and 'E'.
#pragma once

#include <cstddef>
#include <cstdint>

#include "General/Core/Export.h"

namespace vlib {

/// Largest `digits` FormatGcvt honours; larger requests are treated as this.
inline constexpr int kMaxGcvtDigits = 40;
/// A buffer of this size holds every text FormatGcvt can make, terminator included.
inline constexpr size_t kGcvtTextSize = 64;
/// A buffer of this size holds every text FormatFloat makes with precision up to 64, %f of
/// the largest double included.
inline constexpr size_t kFloatTextSize = 400;

/// `_gcvt(value, digits)`; `digits` is clamped to 1..kMaxGcvtDigits. Writes at most `size`
/// bytes with the terminator and returns the length of the whole text, as snprintf does.
VLIB_API int FormatGcvt(char *out, size_t size, double value, int digits);

/// printf's `%.<precision><conversion>` for 'e', 'E', 'f', 'F', 'g' and 'G' (any other letter
/// is 'g'); a negative precision means 6. Returns the length of the whole text, as snprintf.
VLIB_API int FormatFloat(char *out, size_t size, double value, char conversion, int precision = -1);

/// `atoi`: blanks, an optional sign, decimal digits; accumulated in 32 bits with wrap-around.
/// Null or a text without digits gives 0.
VLIB_API int TextToInt(const char *text);

/// `strtoul` on 32 bits. `base` is 0 or 2..36 (0 and 16 take a "0x" prefix). `*end`, when
/// `end` is not null, is the byte behind the number, or `text` when there is none.
VLIB_API uint32_t TextToUnsigned(const char *text, const char **end, int base);

/// `strtod` on the decimal form; 0 with `*end == text` when there is no number. Null gives 0.
VLIB_API double TextToDouble(const char *text, const char **end = nullptr);

} // namespace vlib
