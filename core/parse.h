// Checked parsing of values held in wide strings.
//
// Each function exists for exactly the types specialised below: the signatures that failures carry name them.
#pragma once

#include <compare>
#include <string>

namespace qv {

// A version of three components, compared in their order.
template <class T>
struct version3 {
    T major;
    T minor;
    T build;

    auto operator<=>(const version3&) const = default;
};

}  // namespace qv

namespace quorvex::common {

// Narrows a value. Throws qv::exception where it does not fit.
template <class To, class From>
To convert(From value);

// The unsigned integer that the whole text spells in the base, as wcstoul reads it: leading white space and a sign are
// accepted, and the range is that of 32 bits on every platform. Throws std::invalid_argument without a digit,
// std::out_of_range, qv::exception (text attached) where text is left over, and what convert throws.
template <class T>
T parse_integer(const std::wstring& text, int base);

// A dotted version of Least to Most components, the third parsed first. Throws qv::exception (text attached) where
// there are fewer or more, and what parse_integer throws.
template <class T, int Least, int Most>
qv::version3<T> parse_version3(const std::wstring& text);

template <>
unsigned short convert<unsigned short, unsigned long>(unsigned long value);

template <>
unsigned short parse_integer<unsigned short>(const std::wstring& text, int base);

template <>
qv::version3<unsigned short> parse_version3<unsigned short, 3, 3>(const std::wstring& text);

}  // namespace quorvex::common
