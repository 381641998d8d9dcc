#pragma once
// Expressions over variants: arithmetic, comparison, logic, rounding and the
// usual mathematical functions. Every operation returns a new variant and
// none throws: a bad operand gives the error value BadOperand (1), a division
// by zero DivisionByZero (2).
//
// A binary operation first classifies its operands, in this order: an error
// on either side makes the error class; a string on either side the text
// class; a double the real class; integers and empties the integer class
// (empty counts as 0). Texts only compare (without regard to case, giving 1
// or 0); integer arithmetic is deliberately 32-bit and wraps; real equality
// allows a difference of 1e-10.
#include <type_traits>

#include <kernel/Export.h>
#include <kernel/Variant.h>

NK_API CVariant operator==(const CVariant& a, const CVariant& b);
// The negation of ==, read as a number: an error from == makes != true.
NK_API CVariant operator!=(const CVariant& a, const CVariant& b);
NK_API CVariant operator<(const CVariant& a, const CVariant& b);
NK_API CVariant operator<=(const CVariant& a, const CVariant& b);
NK_API CVariant operator>(const CVariant& a, const CVariant& b);
NK_API CVariant operator>=(const CVariant& a, const CVariant& b);
NK_API CVariant operator+(const CVariant& a, const CVariant& b);
NK_API CVariant operator-(const CVariant& a, const CVariant& b);
NK_API CVariant operator*(const CVariant& a, const CVariant& b);
// Integers: the exact quotient when there is one, else the double quotient.
NK_API CVariant operator/(const CVariant& a, const CVariant& b);
NK_API CVariant operator&&(const CVariant& a, const CVariant& b);
NK_API CVariant operator||(const CVariant& a, const CVariant& b);
// "not": for numbers only; 1 when the value reads as the integer 0.
NK_API CVariant operator!(const CVariant& x);

// Mathematical functions of a number, as doubles.
NK_API CVariant cos(const CVariant& x);
NK_API CVariant cosh(const CVariant& x);
NK_API CVariant acos(const CVariant& x);
NK_API CVariant sin(const CVariant& x);
NK_API CVariant sinh(const CVariant& x);
NK_API CVariant asin(const CVariant& x);
NK_API CVariant tan(const CVariant& x);
NK_API CVariant tanh(const CVariant& x);
NK_API CVariant atan(const CVariant& x);
NK_API CVariant degtorad(const CVariant& x);
NK_API CVariant radtodeg(const CVariant& x);
// A double's absolute value as a double; an integer's (through its 32-bit
// reading) as an integer.
NK_API CVariant abs(const CVariant& x);
NK_API CVariant power(const CVariant& a, const CVariant& b);
// x rounded to `digits` decimals (negative: to tens, hundreds...), halves
// away from zero, through a 32-bit integer: results beyond its range after
// scaling do not survive.
NK_API CVariant round(const CVariant& x, const CVariant& digits);

// Mixed operands (a variant and a plain value) take the variant operators
// rather than the built-in ones the variant's conversions would also allow.
namespace NkVariantOps {
template <class T>
constexpr bool kOperand = !std::is_same_v<std::decay_t<T>, CVariant> && std::is_constructible_v<CVariant, const T&>;
}

// The variant side is deduced too, so that these only apply to a real
// CVariant: a value that merely converts to one keeps the built-in operators.
#define NK_VARIANT_MIXED(op)                                                                                      \
  template <class V, class T, class = std::enable_if_t<std::is_same_v<V, CVariant> && NkVariantOps::kOperand<T>>> \
  CVariant operator op(const V& a, const T& b) {                                                                  \
    return a op CVariant(b);                                                                                      \
  }                                                                                                               \
  template <class T, class V, class = std::enable_if_t<std::is_same_v<V, CVariant> && NkVariantOps::kOperand<T>>, \
            int = 0>                                                                                              \
  CVariant operator op(const T& a, const V& b) {                                                                  \
    return CVariant(a) op b;                                                                                      \
  }
NK_VARIANT_MIXED(==)
NK_VARIANT_MIXED(!=)
NK_VARIANT_MIXED(<)
NK_VARIANT_MIXED(<=)
NK_VARIANT_MIXED(>)
NK_VARIANT_MIXED(>=)
NK_VARIANT_MIXED(+)
NK_VARIANT_MIXED(-)
NK_VARIANT_MIXED(*)
NK_VARIANT_MIXED(/)
NK_VARIANT_MIXED(&&)
NK_VARIANT_MIXED(||)
#undef NK_VARIANT_MIXED
