// Number and text conversions in the original runtime's forms. The float side works on a
// 17-digit decimal string of the value and rounds it again, half up, to the precision asked
// for: that second rounding is what makes the old texts differ from glibc's on exact halves.
#include "General/Core/NumberText.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "General/Core/Detail/AsciiText.h"
#include "General/Core/LibAllocator.h"

namespace vlib {
namespace {

constexpr int kSignificant = 17;

/// A finite value as 17 significant digits: value = 0.d0 d1 d2 ... * 10^decpt.
struct TDecimal {
    char Digits[kSignificant];
    int Decpt;
};

/// The decimal string rounded to some number of significant digits. Digits at or beyond
/// Count read as '0'.
struct TRounded {
    char Digits[kSignificant];
    int Count;
    int Decpt;

    char At(int i) const { return i >= 0 && i < Count ? Digits[i] : '0'; }
};

TDecimal Decompose(double magnitude) {
    TDecimal d;
    if (magnitude == 0.0) {
        std::memset(d.Digits, '0', sizeof d.Digits);
        d.Decpt = 1;
        return d;
    }
    // "d.dddddddddddddddde+XX", rounded correctly to the 17 digits (the same digits as
    // printf's "%.16e", without its format parsing and locale look-ups).
    char text[40];
    const char *end = std::to_chars(text, text + sizeof text, magnitude,
                                    std::chars_format::scientific, kSignificant - 1)
                          .ptr;
    d.Digits[0] = text[0];
    std::memcpy(d.Digits + 1, text + 2, kSignificant - 1);
    const char *p = text + 2 + kSignificant; // the exponent's sign
    const bool negative = *p++ == '-';
    int exponent = 0;
    while (p < end)
        exponent = exponent * 10 + (*p++ - '0');
    d.Decpt = (negative ? -exponent : exponent) + 1;
    return d;
}

/// Rounds half up to `count` significant digits (count may be 0: then the result is either
/// nothing or a single 1 one place further left).
TRounded Round(const TDecimal &d, int count) {
    TRounded r;
    r.Decpt = d.Decpt;
    if (count < 0) {
        // The rounding place lies left of the first digit: the result is zero.
        r.Count = 0;
        return r;
    }
    r.Count = count < kSignificant ? count : kSignificant;
    std::memcpy(r.Digits, d.Digits, static_cast<size_t>(r.Count));
    if (count >= kSignificant || d.Digits[count] < '5')
        return r;
    int i = r.Count - 1;
    while (i >= 0 && r.Digits[i] == '9')
        r.Digits[i--] = '0';
    if (i >= 0) {
        ++r.Digits[i];
    } else {
        // Carry out of the first digit: 99.96 -> 100.0, one more integer place.
        r.Digits[0] = '1';
        if (r.Count == 0)
            r.Count = 1;
        ++r.Decpt;
    }
    return r;
}

/// Writes into a caller's buffer, truncating, while counting the whole length.
class TTextSink {
public:
    TTextSink(char *out, size_t size) : m_Out(out), m_Size(size) {}

    void Put(char c) {
        if (m_Length + 1 < m_Size)
            m_Out[m_Length] = c;
        ++m_Length;
    }
    void Put(const char *text) {
        while (*text != '\0')
            Put(*text++);
    }
    int Finish() {
        if (m_Size > 0)
            m_Out[m_Length < m_Size ? m_Length : m_Size - 1] = '\0';
        return static_cast<int>(m_Length);
    }

private:
    char *m_Out; // not owned
    size_t m_Size;
    size_t m_Length = 0;
};

/// How the digits behind the point are written: all `places` of them, or without trailing
/// zeros; the point itself appears when a digit follows it or when `keepPoint` is set.
struct TFraction {
    int Places;
    bool TrimZeros;
    bool KeepPoint;
};

/// Puts the fraction digits of `r` that start at index `first`.
void PutFraction(TTextSink &sink, const TRounded &r, int first, const TFraction &f) {
    int last = f.Places;
    if (f.TrimZeros)
        while (last > 0 && r.At(first + last - 1) == '0')
            --last;
    if (last > 0 || f.KeepPoint)
        sink.Put('.');
    for (int k = 0; k < last; ++k)
        sink.Put(r.At(first + k));
}

/// Fixed form of `r`: the integer digits, then the fraction.
void PutFixed(TTextSink &sink, const TRounded &r, const TFraction &f) {
    if (r.Decpt <= 0) {
        sink.Put('0');
    } else {
        for (int i = 0; i < r.Decpt; ++i)
            sink.Put(r.At(i));
    }
    PutFraction(sink, r, r.Decpt, f);
}

/// Exponential form of `r`: one digit, the fraction and a signed exponent of three digits
/// or more.
void PutExponential(TTextSink &sink, const TRounded &r, const TFraction &f, bool upper) {
    sink.Put(r.At(0));
    PutFraction(sink, r, 1, f);
    // Zero has Decpt 1 as well, so its exponent reads +000.
    const int exponent = r.Decpt - 1;
    sink.Put(upper ? 'E' : 'e');
    sink.Put(exponent < 0 ? '-' : '+');
    char digits[16];
    const char *end =
        std::to_chars(digits, digits + sizeof digits, exponent < 0 ? -exponent : exponent).ptr;
    for (ptrdiff_t pad = 3 - (end - digits); pad > 0; --pad)
        sink.Put('0');
    for (const char *p = digits; p < end; ++p)
        sink.Put(*p);
}

/// Writes the texts of infinities and NaNs; false for a finite value.
bool PutSpecial(TTextSink &sink, double value) {
    if (std::isinf(value)) {
        sink.Put(value < 0 ? "-1.#INF" : "1.#INF");
        return true;
    }
    if (std::isnan(value)) {
        sink.Put(std::signbit(value) ? "-1.#IND" : "1.#QNAN");
        return true;
    }
    return false;
}

bool IsBlank(unsigned char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

int DigitValue(unsigned char c) {
    if (detail::IsAsciiDigit(c))
        return c - '0';
    if (detail::IsAsciiAlpha(c))
        return detail::AsciiLower(c) - 'a' + 10;
    return 99;
}

/// The value of the decimal text [first, last), which holds digits with at most one point
/// and an optional 'e' exponent, with the sign applied; as strtod gives it.
double ParseDecimal(const char *first, const char *last, bool negative) {
    double value = 0.0;
    const std::from_chars_result r = std::from_chars(first, last, value);
    if (r.ec == std::errc::result_out_of_range) {
        // from_chars leaves the value alone on overflow and underflow, where strtod gives an
        // infinity or the nearest denormal or zero: let strtod have those rare texts.
        char local[128];
        const size_t length = static_cast<size_t>(last - first);
        if (length < sizeof local) {
            std::memcpy(local, first, length);
            local[length] = '\0';
            value = std::strtod(local, nullptr);
        } else {
            value = std::strtod(first, nullptr); // the text ends where the number does
        }
    }
    return negative ? -value : value;
}

} // namespace

int FormatGcvt(char *out, size_t size, double value, int digits) {
    TTextSink sink(out, size);
    if (PutSpecial(sink, value))
        return sink.Finish();
    if (digits < 1)
        digits = 1;
    if (digits > kMaxGcvtDigits)
        digits = kMaxGcvtDigits;
    if (std::signbit(value))
        sink.Put('-');
    const TDecimal d = Decompose(std::fabs(value));
    // The choice of form uses the exponent before rounding to `digits`, as _gcvt did, so
    // 999999.5 at six digits comes out fixed, as "1000000.".
    const int magnitude = d.Decpt - 1;
    if (magnitude < -1 || magnitude > digits - 1) {
        const int places = digits - 1;
        PutExponential(sink, Round(d, digits), TFraction{places, true, places > 0}, false);
    } else {
        const int places = digits - d.Decpt;
        PutFixed(sink, Round(d, digits), TFraction{places, true, true});
    }
    return sink.Finish();
}

int FormatFloat(char *out, size_t size, double value, char conversion, int precision) {
    TTextSink sink(out, size);
    if (PutSpecial(sink, value))
        return sink.Finish();
    if (precision < 0)
        precision = 6;
    if (std::signbit(value))
        sink.Put('-');
    const TDecimal d = Decompose(std::fabs(value));
    switch (conversion) {
    case 'e':
    case 'E':
        PutExponential(sink, Round(d, precision + 1), TFraction{precision, false, false},
                       conversion == 'E');
        return sink.Finish();
    case 'f':
    case 'F':
        PutFixed(sink, Round(d, d.Decpt + precision), TFraction{precision, false, false});
        return sink.Finish();
    default:
        break;
    }
    // %g: the exponent that decides the form is the one after rounding to the precision.
    if (precision == 0)
        precision = 1;
    const TRounded r = Round(d, precision);
    const int exponent = r.Decpt - 1;
    if (exponent < -4 || exponent >= precision)
        PutExponential(sink, r, TFraction{precision - 1, true, false}, conversion == 'G');
    else
        PutFixed(sink, r, TFraction{precision - 1 - exponent, true, false});
    return sink.Finish();
}

int TextToInt(const char *text) {
    if (text == nullptr)
        return 0;
    const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
    while (IsBlank(*p))
        ++p;
    const unsigned char sign = *p;
    if (sign == '-' || sign == '+')
        ++p;
    uint32_t total = 0;
    while (detail::IsAsciiDigit(*p))
        total = total * 10u + static_cast<uint32_t>(*p++ - '0');
    if (sign == '-')
        total = 0u - total;
    return static_cast<int>(total);
}

uint32_t TextToUnsigned(const char *text, const char **end, int base) {
    if (end != nullptr)
        *end = text;
    if (text == nullptr || base == 1 || base < 0 || base > 36)
        return 0;
    const char *p = text;
    while (IsBlank(static_cast<unsigned char>(*p)))
        ++p;
    const char sign = *p;
    if (sign == '-' || sign == '+')
        ++p;
    const bool hexPrefix = p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && DigitValue(p[2]) < 16;
    if (base == 0)
        base = hexPrefix ? 16 : (p[0] == '0' ? 8 : 10);
    if (base == 16 && hexPrefix)
        p += 2;
    uint64_t total = 0;
    bool overflow = false;
    const char *first = p;
    for (int digit; (digit = DigitValue(static_cast<unsigned char>(*p))) < base; ++p) {
        total = total * static_cast<uint64_t>(base) + static_cast<uint64_t>(digit);
        if (total > 0xFFFFFFFFull) {
            overflow = true;
            total = 0xFFFFFFFFull;
        }
    }
    if (p == first)
        return 0;
    if (end != nullptr)
        *end = p;
    if (overflow)
        return 0xFFFFFFFFu;
    const uint32_t value = static_cast<uint32_t>(total);
    return sign == '-' ? 0u - value : value;
}

double TextToDouble(const char *text, const char **end) {
    if (end != nullptr)
        *end = text;
    if (text == nullptr)
        return 0.0;
    const char *p = text;
    while (IsBlank(static_cast<unsigned char>(*p)))
        ++p;
    const char *numberStart = p;
    const bool negative = *p == '-';
    if (*p == '-' || *p == '+')
        ++p;
    const char *mantissa = p;
    int digits = 0;
    while (detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
        ++p, ++digits;
    if (*p == '.') {
        ++p;
        while (detail::IsAsciiDigit(static_cast<unsigned char>(*p)))
            ++p, ++digits;
    }
    if (digits == 0)
        return 0.0;
    const char *exponentLetter = nullptr;
    if (*p == 'e' || *p == 'E' || *p == 'd' || *p == 'D') {
        const char *q = p + 1;
        if (*q == '-' || *q == '+')
            ++q;
        if (detail::IsAsciiDigit(static_cast<unsigned char>(*q))) {
            exponentLetter = p;
            while (detail::IsAsciiDigit(static_cast<unsigned char>(*q)))
                ++q;
            p = q;
        }
    }
    if (end != nullptr)
        *end = p;
    // strtod would read "0x1p3" as hexadecimal; the decimal reading is just the zero.
    if (mantissa[0] == '0' && (mantissa[1] == 'x' || mantissa[1] == 'X'))
        return negative ? -0.0 : 0.0;
    if (exponentLetter == nullptr || *exponentLetter == 'e' || *exponentLetter == 'E')
        return ParseDecimal(mantissa, p, negative);
    // A 'd' exponent: parse a copy with 'e' in its place.
    const size_t length = static_cast<size_t>(p - numberStart);
    char local[128];
    char *copy = local;
    if (length + 1 > sizeof local) {
        copy = reinterpret_cast<char *>(GetAllocatorInstance().Alloc(length + 1));
        if (copy == nullptr)
            return 0.0;
    }
    std::memcpy(copy, numberStart, length);
    copy[length] = '\0';
    copy[exponentLetter - numberStart] = 'e';
    const size_t signLength = static_cast<size_t>(mantissa - numberStart);
    const double value = ParseDecimal(copy + signLength, copy + length, negative);
    if (copy != local)
        GetAllocatorInstance().Unalloc(reinterpret_cast<unsigned char *>(copy));
    return value;
}

} // namespace vlib
