// Variant expressions: operand classes, 32-bit integer arithmetic, exact or
// double division, case-blind text comparison, rounding and the error codes.
#include <kernel/VariantOps.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

constexpr auto S = CVariant::tagSigned;
constexpr auto D = CVariant::tagDouble;
constexpr auto E = CVariant::tagError;

// Every expression's kind and value; for an error the value is its code.
TEST(VariantOps, Expressions) {
  struct Case {
    CVariant result;
    CVariant::Tag tag;
    double value;
    const char* what;
  };
  const CVariant v(10);
  const Case cases[] = {
      // Arithmetic by operand class: 32-bit integers, doubles, and text as a bad operand.
      {CVariant(2) + CVariant(3), S, 5, "2 + 3"},
      {CVariant(2) + CVariant(0.5), D, 2.5, "2 + 0.5"},
      {CVariant(2) + CVariant(L"3"), E, 1, "2 + text"},
      {CVariant() + CVariant(4), S, 4, "empty + 4"},
      {CVariant() + CVariant(), S, 0, "empty + empty"},
      {CVariant(2147483647) + CVariant(1), S, -2147483648.0, "int wraps"},
      {CVariant(int64_t{5000000000}) + CVariant(0), S, 2147483647, "64-bit saturates to 32 first"},
      {CVariant(65536) * CVariant(65536), S, 0, "product wraps"},
      {CVariant(uint64_t{7}) - CVariant(10), S, -3, "unsigned joins the integer class"},
      {CVariant(1.5) * CVariant(L"2"), E, 1, "text beats double"},
      {CVariant(VariantError::DivisionByZero) + CVariant(L"x"), E, 1, "error beats text"},
      {CVariant(L"a") + CVariant(L"b"), E, 1, "no concatenation"},
      {CVariant(7) / CVariant(2), D, 3.5, "7 / 2"},
      {CVariant(6) / CVariant(3), S, 2, "6 / 3"},
      {CVariant(-7) / CVariant(2), D, -3.5, "-7 / 2"},
      {CVariant(1) / CVariant(0), E, 2, "1 / 0"},
      {CVariant(1.0) / CVariant(0.0), E, 2, "1.0 / 0.0"},
      {CVariant() / CVariant(), E, 2, "empty / empty"},
      {CVariant(-2147483647 - 1) / CVariant(-1), S, -2147483648.0, "INT_MIN / -1 wraps"},
      {CVariant(1.0) / CVariant(4), D, 0.25, "real division"},
      {CVariant(L"6") / CVariant(3), E, 1, "text division"},
      // Comparisons: case-blind text, a tolerance for equality only.
      {CVariant(L"abc") == CVariant(L"ABC"), S, 1, "case-blind equality"},
      {CVariant(L"abc") < CVariant(L"ABD"), S, 1, "case-blind order"},
      {CVariant(L"10") < CVariant(9), S, 1, "text order beside a number"},
      {CVariant(0.1 + 0.2) == CVariant(0.3), S, 1, "tolerance 1e-10"},
      {CVariant(1.0) == CVariant(1.0 + 2e-10), S, 0, "beyond the tolerance"},
      {CVariant(1.0) < CVariant(1.0 + 1e-12), S, 1, "ordering has no tolerance"},
      {CVariant(3) >= CVariant(3), S, 1, ">="},
      {CVariant(3) > CVariant(3), S, 0, ">"},
      {CVariant(2) <= CVariant(), S, 0, "empty is 0"},
      {CVariant() == CVariant(0), S, 1, "empty equals 0"},
      {CVariant(VariantError::BadOperand) == CVariant(1), E, 1, "error operand"},
      {CVariant(VariantError::BadOperand) != CVariant(1), S, 1, "!= negates the error's reading"},
      {CVariant(2) != CVariant(2), S, 0, "!="},
      {CVariant(L"x") != CVariant(L"X"), S, 0, "text !="},
      // Logic reads numbers as integers.
      {CVariant(2) && CVariant(3), S, 1, "&&"},
      {CVariant(2) && CVariant(), S, 0, "&& empty"},
      {CVariant(0.5) || CVariant(0), S, 0, "0.5 reads as integer 0"},
      {CVariant(1.5) || CVariant(0), S, 1, "||"},
      {CVariant(L"1") && CVariant(1), E, 1, "text logic"},
      {!CVariant(0), S, 1, "not 0"},
      {!CVariant(0.25), S, 1, "not 0.25"},
      {!CVariant(7u), S, 0, "not 7"},
      {!CVariant(), E, 1, "not empty"},
      {!CVariant(L"0"), E, 1, "not text"},
      // Plain operands on either side go through the variant operators.
      {v + 1, S, 11, "v + 1"},
      {1 + v, S, 11, "1 + v"},
      {v / 4, D, 2.5, "v / 4"},
      {v == 10, S, 1, "v == 10"},
      {L"10" == v, S, 1, "text == v"},
      {v * 0.5, D, 5, "v * 0.5"},
      // Functions.
      {degtorad(CVariant(180)), D, 3.141592653589793, "degtorad(180)"},
      {radtodeg(CVariant(3.141592653589793)), D, 180, "radtodeg(pi)"},
      {cos(CVariant(0)), D, 1, "cos 0"},
      {sin(CVariant(0.5)), D, std::sin(0.5), "sin"},
      {tanh(CVariant(uint64_t{1})), D, std::tanh(1.0), "tanh"},
      {atan(CVariant(1)), D, std::atan(1.0), "atan"},
      {cosh(CVariant(2)), D, std::cosh(2.0), "cosh"},
      {sinh(CVariant(2)), D, std::sinh(2.0), "sinh"},
      {tan(CVariant(2)), D, std::tan(2.0), "tan"},
      {asin(CVariant(1)), D, std::asin(1.0), "asin"},
      {cos(CVariant(L"0")), E, 1, "cos of text"},
      {cos(CVariant()), E, 1, "cos of empty"},
      {abs(CVariant(-2.5)), D, 2.5, "abs double"},
      {abs(CVariant(-7)), S, 7, "abs int"},
      {abs(CVariant(int64_t{-5000000000})), S, -2147483648.0, "abs through 32 bits"},
      {abs(CVariant(L"-1")), E, 1, "abs of text"},
      {power(CVariant(2), CVariant(10)), D, 1024, "2^10"},
      {power(CVariant(), CVariant(0)), D, 1, "empty^0"},
      {power(CVariant(L"2"), CVariant(2)), E, 1, "power of text"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(c.result.GetTag(), c.tag) << c.what;
    EXPECT_EQ(c.result.IsError() ? double(c.result.GetError()) : c.result.GetDouble(), c.value) << c.what;
  }
  EXPECT_TRUE(std::isnan(acos(CVariant(2)).GetDouble()));  // out of domain: the C result, not an error
  EXPECT_TRUE(acos(CVariant(2)).IsDouble());
}

TEST(VariantOps, Round) {
  struct Case {
    CVariant x;
    CVariant digits;
    CVariant::Tag tag;
    double value;
  };
  const Case cases[] = {
      {CVariant(2.5), CVariant(0), D, 3.0},
      {CVariant(-2.5), CVariant(0), D, -3.0},
      {CVariant(1234.5678), CVariant(-2), D, 1200.0},
      {CVariant(1234.5678), CVariant(2), D, 1234.57},
      {CVariant(0.125), CVariant(2), D, 0.13},
      {CVariant(7), CVariant(0u), D, 7.0},
      {CVariant(1e10), CVariant(0), D, -2147483648.0},  // beyond 32 bits: does not survive
      {CVariant(std::nan("")), CVariant(0), D, -2147483648.0},
      {CVariant(L"2.5"), CVariant(0), E, 1},
      {CVariant(2.5), CVariant(0.0), E, 1},
      {CVariant(2.5), CVariant(), E, 1},
  };
  for (const Case& c : cases) {
    const CVariant r = round(c.x, c.digits);
    EXPECT_EQ(r.GetTag(), c.tag) << c.x.GetStringA().GetString();
    if (c.tag == E) {
      EXPECT_EQ(r.GetError(), VariantError::BadOperand);
    } else {
      EXPECT_DOUBLE_EQ(r.GetDouble(), c.value) << c.x.GetStringA().GetString();
    }
  }
}

}  // namespace
