// Number texts in the original runtime's forms: the _gcvt choice of form and its kept point,
// three-digit exponents, half-up rounding of the 17-digit string, and the readers' 32-bit
// and decimal-only rules.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

#include "General/Core/NumberText.h"

namespace {

std::string Gcvt(double value, int digits) {
    char text[vlib::kGcvtTextSize];
    vlib::FormatGcvt(text, sizeof text, value, digits);
    return text;
}

std::string Printf(double value, char conversion, int precision) {
    char text[vlib::kFloatTextSize];
    vlib::FormatFloat(text, sizeof text, value, conversion, precision);
    return text;
}

TEST(NumberText, GcvtForms) {
    struct Case {
        double Value;
        int Digits;
        const char *Text;
    };
    constexpr Case kCases[] = {
        {1.5, 6, "1.5"},
        {100.0, 6, "100."},
        {0.0, 6, "0."},
        {-0.0, 6, "-0."},
        {0.5, 6, "0.5"},
        {0.15, 6, "0.15"},
        {1e20, 6, "1.e+020"},
        {1e20, 1, "1e+020"},
        {0.05, 6, "5.e-002"},
        {-2.5e-5, 6, "-2.5e-005"},
        {1e300, 6, "1.e+300"},
        {123456.0, 6, "123456."},
        {1234567.0, 6, "1.23457e+006"},
        // The form is chosen on the unrounded exponent, so this stays fixed.
        {999999.5, 6, "1000000."},
        {0.9999999, 6, "1."},
        // Exact halves round up, unlike glibc's round-half-even.
        {0.125, 2, "0.13"},
        {2.5, 1, "3."},
        {1.03125, 5, "1.0313"},
        // The documented _gcvt series at twelve digits.
        {-1234567890.123, 12, "-1234567890.12"},
        {-12345678901.23, 12, "-12345678901.2"},
        {-123456789012.3, 12, "-123456789012."},
        {-1234567890123.0, 12, "-1.23456789012e+012"},
        {-0.123456789012, 12, "-0.123456789012"},
        {-0.0123456789012, 12, "-1.23456789012e-002"},
        // Floats widened to double show their binary value only past the digits asked for.
        {static_cast<double>(0.1f), 6, "0.1"},
        {static_cast<double>(0.1f), 9, "0.100000001"},
        {static_cast<double>(3.14159274f), 5, "3.1416"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Value << " digits " << c.Digits);
        EXPECT_EQ(Gcvt(c.Value, c.Digits), c.Text);
    }
}

TEST(NumberText, GcvtClampsDigitsAndPadsBeyondSeventeen) {
    EXPECT_EQ(Gcvt(1.5, 0), Gcvt(1.5, 1));
    EXPECT_EQ(Gcvt(2.0, -3), "2.");
    // Digits past the 17th significant one are zeros, which the trim then removes.
    EXPECT_EQ(Gcvt(0.1, 30), "0.10000000000000001");
    EXPECT_EQ(Gcvt(1e18, 40), "1000000000000000000.");
}

TEST(NumberText, SpecialValues) {
    const double inf = std::numeric_limits<double>::infinity();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(Gcvt(inf, 6), "1.#INF");
    EXPECT_EQ(Gcvt(-inf, 6), "-1.#INF");
    EXPECT_EQ(Gcvt(nan, 6), "1.#QNAN");
    EXPECT_EQ(Gcvt(-nan, 6), "-1.#IND");
    EXPECT_EQ(Printf(inf, 'f', 6), "1.#INF");
    EXPECT_EQ(Printf(-nan, 'g', 6), "-1.#IND");
}

TEST(NumberText, PrintfForms) {
    struct Case {
        double Value;
        char Conversion;
        int Precision;
        const char *Text;
    };
    constexpr Case kCases[] = {
        {1e20, 'g', -1, "1e+020"},
        {1.5, 'g', -1, "1.5"},
        {100000.0, 'g', -1, "100000"},
        {1000000.0, 'g', -1, "1e+006"},
        {999999.5, 'g', -1, "1e+006"},
        {0.0001, 'g', -1, "0.0001"},
        {0.00001, 'g', -1, "1e-005"},
        {0.0, 'g', -1, "0"},
        {-0.0, 'g', -1, "-0"},
        {123.456, 'g', 2, "1.2e+002"},
        {0.5, 'g', 0, "0.5"},
        {1e-10, 'G', -1, "1E-010"},
        {1.5, 'e', -1, "1.500000e+000"},
        {0.0, 'e', 2, "0.00e+000"},
        {12345.0, 'E', 0, "1E+004"},
        {1.5, 'f', -1, "1.500000"},
        {0.125, 'f', 2, "0.13"},
        {2.5, 'f', 0, "3"},
        {-0.0004, 'f', 2, "-0.00"},
        {0.006, 'f', 2, "0.01"},
        {0.1, 'f', 20, "0.10000000000000001000"},
        {1e17, 'f', 1, "100000000000000000.0"},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Value << " %" << c.Conversion << c.Precision);
        EXPECT_EQ(Printf(c.Value, c.Conversion, c.Precision), c.Text);
    }
}

TEST(NumberText, FormattersTruncateAndReportTheFullLength) {
    char text[5];
    EXPECT_EQ(vlib::FormatFloat(text, sizeof text, 1.5, 'f', 6), 8);
    EXPECT_STREQ(text, "1.50");
    EXPECT_EQ(vlib::FormatGcvt(text, sizeof text, 1e20, 6), 7);
    EXPECT_STREQ(text, "1.e+");
    EXPECT_EQ(vlib::FormatGcvt(nullptr, 0, 1.5, 6), 3);
    char big[vlib::kFloatTextSize];
    const int length = vlib::FormatFloat(big, sizeof big, -1.7976931348623157e308, 'f', 64);
    EXPECT_EQ(length, static_cast<int>(std::strlen(big)));
    EXPECT_LT(static_cast<size_t>(length), sizeof big);
}

TEST(NumberText, TextToIntWrapsIn32Bits) {
    struct Case {
        const char *Text;
        int Value;
    };
    constexpr Case kCases[] = {
        {"42", 42},
        {"  \t-17", -17},
        {"+5x", 5},
        {"12abc", 12},
        {"abc", 0},
        {"- 5", 0},
        {"", 0},
        {"2147483647", 2147483647},
        {"2147483648", -2147483647 - 1},
        {"4294967297", 1},
        {"-4294967295", 1},
        {"\n\v\f\r 8", 8},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.Text);
        EXPECT_EQ(vlib::TextToInt(c.Text), c.Value);
    }
    EXPECT_EQ(vlib::TextToInt(nullptr), 0);
}

TEST(NumberText, TextToUnsignedOn32Bits) {
    struct Case {
        const char *Text;
        int Base;
        uint32_t Value;
        int Consumed;
    };
    constexpr Case kCases[] = {
        {"123", 10, 123u, 3},
        {" 42 ", 10, 42u, 3},
        {"-1", 10, 0xFFFFFFFFu, 2},
        {"-5", 10, 0xFFFFFFFBu, 2},
        {"4294967295", 10, 0xFFFFFFFFu, 10},
        {"4294967296", 10, 0xFFFFFFFFu, 10},
        {"-4294967296", 10, 0xFFFFFFFFu, 11},
        {"99999999999999999999999", 10, 0xFFFFFFFFu, 23},
        {"1F", 16, 31u, 2},
        {"0x1f", 16, 31u, 4},
        {"0xg", 16, 0u, 1},
        {"0x10", 0, 16u, 4},
        {"010", 0, 8u, 3},
        {"19", 8, 1u, 1},
        {"z", 36, 35u, 1},
        {"abc", 10, 0u, 0},
        {"-", 16, 0u, 0},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(testing::Message() << c.Text << " base " << c.Base);
        const char *end = nullptr;
        EXPECT_EQ(vlib::TextToUnsigned(c.Text, &end, c.Base), c.Value);
        EXPECT_EQ(end - c.Text, c.Consumed);
    }
    EXPECT_EQ(vlib::TextToUnsigned("12", nullptr, 1), 0u);
    EXPECT_EQ(vlib::TextToUnsigned(nullptr, nullptr, 10), 0u);
}

TEST(NumberText, TextToDoubleReadsTheDecimalFormOnly) {
    struct Case {
        const char *Text;
        double Value;
        int Consumed;
    };
    constexpr Case kCases[] = {
        {"1.5", 1.5, 3},    {"  -2.5xyz", -2.5, 6}, {".5", 0.5, 2},     {"5.", 5.0, 2},
        {"1e3", 1000.0, 3}, {"1E+3", 1000.0, 4},    {"1d3", 1000.0, 3}, {"1.5D-1", 0.15, 6},
        {"1e", 1.0, 1},     {"1e+", 1.0, 1},        {"0x10", 0.0, 1},   {"-0X1p3", -0.0, 2},
        {"inf", 0.0, 0},    {"nan", 0.0, 0},        {".", 0.0, 0},      {"-", 0.0, 0},
        {"1.#INF", 1.0, 2},
    };
    for (const Case &c : kCases) {
        SCOPED_TRACE(c.Text);
        const char *end = nullptr;
        const double value = vlib::TextToDouble(c.Text, &end);
        EXPECT_EQ(value, c.Value);
        EXPECT_EQ(std::signbit(value), std::signbit(c.Value));
        EXPECT_EQ(end - c.Text, c.Consumed);
    }
    EXPECT_EQ(vlib::TextToDouble(nullptr), 0.0);
}

TEST(NumberText, TextToDoubleTakesLongNumbersWithDExponent) {
    // Longer than the reader's local copy, so the copy comes from the heap.
    const std::string text = "1." + std::string(300, '0') + "25d2";
    const char *end = nullptr;
    EXPECT_DOUBLE_EQ(vlib::TextToDouble(text.c_str(), &end), 100.0);
    EXPECT_EQ(end, text.c_str() + text.size());
}

TEST(NumberText, TextToDoubleGivesStrtodsValueOutOfRange) {
    // Overflow gives an infinity and underflow a denormal or a signed zero, as strtod does,
    // also through the 'd' exponent and for texts longer than the reader's local copy.
    const std::string longZeros = "0." + std::string(200, '0') + "1e-200";
    const std::string longNines = std::string(200, '9') + "e200";
    const std::string kTexts[] = {"1e400",     "-1e400",  "1e-400",  "-1d-400",
                                  "4.9e-324",  "2e-310",  "1.8e308", "1.7e308",
                                  "-2.5d-320", longZeros, longNines};
    for (const std::string &text : kTexts) {
        SCOPED_TRACE(text.substr(0, 24));
        std::string strtodText = text;
        for (char &c : strtodText)
            c = c == 'd' ? 'e' : c;
        const double expected = std::strtod(strtodText.c_str(), nullptr);
        const double value = vlib::TextToDouble(text.c_str());
        EXPECT_EQ(value, expected);
        EXPECT_EQ(std::signbit(value), std::signbit(expected));
    }
}

TEST(NumberText, GcvtTextReadsBackToTheSameFloat) {
    const float kValues[] = {0.1f, 1.0f / 3.0f, 123456.7f, 1e-7f, 3.4e38f, -2.5e-30f, 7.0f};
    for (float value : kValues) {
        SCOPED_TRACE(value);
        char text[vlib::kGcvtTextSize];
        vlib::FormatGcvt(text, sizeof text, value, 9);
        EXPECT_EQ(static_cast<float>(vlib::TextToDouble(text)), value) << text;
    }
}

} // namespace
