#include <kernel/VariantOps.h>

#include <cmath>
#include <cstdint>

namespace {

enum class Operands { error, text, real, integer };

Operands Classify(const CVariant& a, const CVariant& b) {
  if (a.IsError() || b.IsError()) return Operands::error;
  if (a.IsString() || b.IsString()) return Operands::text;
  if (a.IsDouble() || b.IsDouble()) return Operands::real;
  if (a.IsIntegral() || a.IsEmpty() || b.IsIntegral() || b.IsEmpty()) return Operands::integer;
  return Operands::error;
}

CVariant Bad() { return CVariant(VariantError::BadOperand); }
CVariant Truth(bool b) { return CVariant(static_cast<int64_t>(b ? 1 : 0)); }
int32_t Int(const CVariant& v) { return static_cast<int>(v); }
// 32-bit wrapping arithmetic, done unsigned to stay defined.
CVariant Wrap(uint32_t v) { return CVariant(static_cast<int64_t>(static_cast<int32_t>(v))); }

enum class Compare { eq, lt, le, gt, ge };

CVariant Comparison(const CVariant& a, const CVariant& b, Compare how) {
  int order = 0;
  switch (Classify(a, b)) {
    case Operands::error:
      return Bad();
    case Operands::text:
      order = a.GetString().CompareNoCase(b.GetString());
      break;
    case Operands::real: {
      const double x = a.GetDouble(), y = b.GetDouble();
      switch (how) {
        case Compare::eq:
          return Truth(std::fabs(x - y) <= 1e-10);
        case Compare::lt:
          return Truth(x < y);
        case Compare::le:
          return Truth(x <= y);
        case Compare::gt:
          return Truth(x > y);
        case Compare::ge:
          return Truth(x >= y);
      }
      break;
    }
    case Operands::integer: {
      const int32_t x = Int(a), y = Int(b);
      order = x < y ? -1 : x > y ? 1 : 0;
      break;
    }
  }
  switch (how) {
    case Compare::eq:
      return Truth(order == 0);
    case Compare::lt:
      return Truth(order < 0);
    case Compare::le:
      return Truth(order <= 0);
    case Compare::gt:
      return Truth(order > 0);
    case Compare::ge:
      return Truth(order >= 0);
  }
  return Bad();
}

template <class IntOp, class RealOp>
CVariant Arithmetic(const CVariant& a, const CVariant& b, IntOp intOp, RealOp realOp) {
  switch (Classify(a, b)) {
    case Operands::real:
      return CVariant(realOp(a.GetDouble(), b.GetDouble()));
    case Operands::integer:
      return Wrap(intOp(static_cast<uint32_t>(Int(a)), static_cast<uint32_t>(Int(b))));
    default:
      return Bad();
  }
}

template <class Op>
CVariant Logic(const CVariant& a, const CVariant& b, Op op) {
  const Operands c = Classify(a, b);
  if (c != Operands::integer && c != Operands::real) return Bad();
  return Truth(op(a.GetInt64() != 0, b.GetInt64() != 0));
}

template <class F>
CVariant Unary(const CVariant& x, F f) {
  if (!x.IsNumber()) return Bad();
  return CVariant(f(x.GetDouble()));
}

// The 32-bit truncation of the processor: out-of-range values and NaN give
// the "integer indefinite" value, the most negative int.
int32_t Truncate32(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(v);
}

constexpr double kPi = 3.141592653589793;

}  // namespace

CVariant operator==(const CVariant& a, const CVariant& b) { return Comparison(a, b, Compare::eq); }
CVariant operator!=(const CVariant& a, const CVariant& b) { return Truth((a == b).GetInt64() == 0); }
CVariant operator<(const CVariant& a, const CVariant& b) { return Comparison(a, b, Compare::lt); }
CVariant operator<=(const CVariant& a, const CVariant& b) { return Comparison(a, b, Compare::le); }
CVariant operator>(const CVariant& a, const CVariant& b) { return Comparison(a, b, Compare::gt); }
CVariant operator>=(const CVariant& a, const CVariant& b) { return Comparison(a, b, Compare::ge); }

CVariant operator+(const CVariant& a, const CVariant& b) {
  return Arithmetic(
      a, b, [](uint32_t x, uint32_t y) { return x + y; }, [](double x, double y) { return x + y; });
}
CVariant operator-(const CVariant& a, const CVariant& b) {
  return Arithmetic(
      a, b, [](uint32_t x, uint32_t y) { return x - y; }, [](double x, double y) { return x - y; });
}
CVariant operator*(const CVariant& a, const CVariant& b) {
  return Arithmetic(
      a, b, [](uint32_t x, uint32_t y) { return x * y; }, [](double x, double y) { return x * y; });
}

CVariant operator/(const CVariant& a, const CVariant& b) {
  switch (Classify(a, b)) {
    case Operands::real: {
      const double y = b.GetDouble();
      if (y == 0.0) return CVariant(VariantError::DivisionByZero);
      return CVariant(a.GetDouble() / y);
    }
    case Operands::integer: {
      const int32_t x = Int(a), y = Int(b);
      if (y == 0) return CVariant(VariantError::DivisionByZero);
      // -2^31 / -1 does not fit: it wraps, like the other integer operations.
      if (y == -1) return Wrap(0u - static_cast<uint32_t>(x));
      if (x % y == 0) return CVariant(static_cast<int64_t>(x / y));
      return CVariant(a.GetDouble() / b.GetDouble());
    }
    default:
      return Bad();
  }
}

CVariant operator&&(const CVariant& a, const CVariant& b) {
  return Logic(a, b, [](bool x, bool y) { return x && y; });
}
CVariant operator||(const CVariant& a, const CVariant& b) {
  return Logic(a, b, [](bool x, bool y) { return x || y; });
}

CVariant operator!(const CVariant& x) {
  if (!x.IsNumber()) return Bad();
  return Truth(x.GetInt64() == 0);
}

CVariant cos(const CVariant& x) {
  return Unary(x, [](double v) { return std::cos(v); });
}
CVariant cosh(const CVariant& x) {
  return Unary(x, [](double v) { return std::cosh(v); });
}
CVariant acos(const CVariant& x) {
  return Unary(x, [](double v) { return std::acos(v); });
}
CVariant sin(const CVariant& x) {
  return Unary(x, [](double v) { return std::sin(v); });
}
CVariant sinh(const CVariant& x) {
  return Unary(x, [](double v) { return std::sinh(v); });
}
CVariant asin(const CVariant& x) {
  return Unary(x, [](double v) { return std::asin(v); });
}
CVariant tan(const CVariant& x) {
  return Unary(x, [](double v) { return std::tan(v); });
}
CVariant tanh(const CVariant& x) {
  return Unary(x, [](double v) { return std::tanh(v); });
}
CVariant atan(const CVariant& x) {
  return Unary(x, [](double v) { return std::atan(v); });
}
CVariant degtorad(const CVariant& x) {
  return Unary(x, [](double v) { return v * kPi / 180.0; });
}
CVariant radtodeg(const CVariant& x) {
  return Unary(x, [](double v) { return v * 180.0 / kPi; });
}

CVariant abs(const CVariant& x) {
  if (x.IsDouble()) return CVariant(std::fabs(x.GetDouble()));
  if (!x.IsIntegral()) return Bad();
  const int32_t v = Int(x);
  return v < 0 ? Wrap(0u - static_cast<uint32_t>(v)) : CVariant(static_cast<int64_t>(v));
}

CVariant power(const CVariant& a, const CVariant& b) {
  const Operands c = Classify(a, b);
  if (c != Operands::integer && c != Operands::real) return Bad();
  return CVariant(std::pow(a.GetDouble(), b.GetDouble()));
}

CVariant round(const CVariant& x, const CVariant& digits) {
  if (!x.IsNumber() || !digits.IsIntegral()) return Bad();
  const int32_t d = Int(digits);
  // 10^|d| by repeated squaring.
  uint32_t n = d < 0 ? 0u - static_cast<uint32_t>(d) : static_cast<uint32_t>(d);
  double scale = 1.0;
  double square = 10.0;
  while (n) {
    if (n & 1) scale *= square;
    square *= square;
    n >>= 1;
  }
  if (d < 0) scale = 1.0 / scale;
  const double y = x.GetDouble() * scale;
  const int32_t whole = y >= 0 ? Truncate32(y + 0.5) : Truncate32(y - 0.5);
  return CVariant(whole / scale);
}
