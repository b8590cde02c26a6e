// XCDouble.h - a double that is rounded to decimals as on paper.
//
// WHAT     A value and its number of decimals; arithmetic rounds each result.
// COST     Rounding writes and reads 15 digits, some hundred nanoseconds; only the text allocates.
// THREADS  As for an int: many readers, or one writer.
#pragma once

#include <XelbrinCore/XCExport.h>
#include <XelbrinCore/XCString.h>

#include <compare>

/// A double that is always rounded to a number of decimals, half away from zero, as a person would round the figure on
/// paper: XCDouble(1.005, 2) is 1.01 although the nearest binary number lies below 1.005.
///
/// Rounding looks at 15 significant digits, so rounding errors of binary arithmetic do not decide. A value
/// that has 15 or more digits before the last decimal is kept as it is; so are infinities and "not a number".
/// Results of arithmetic keep the larger number of decimals of the operands; a plain number has none of its own and is
/// not rounded before it enters. Compared with a plain number, that number is rounded to the decimals of this one.
class XC_API XCDouble {
public:
    static constexpr unsigned int kMaxDecimals = 15;    ///< The most decimals that are kept.
    static constexpr unsigned int kDefaultDecimals = 2; ///< The decimals of a value that names none.

    constexpr XCDouble() noexcept = default;
    /// @param decimals more than kMaxDecimals counts as kMaxDecimals.
    explicit XCDouble(double value, unsigned int decimals = kDefaultDecimals) noexcept;

    /// The rounded value.
    [[nodiscard]] double AsDouble() const noexcept { return m_value; }
    /// How many decimals the value is rounded to.
    [[nodiscard]] unsigned int GetDecimals() const noexcept { return m_decimals; }
    /// Exactly GetDecimals() decimals, a point between: "1.01", "-0.50", "3". Never "-0.00". Also "inf", "-inf", "nan".
    [[nodiscard]] XCString AsString() const;
    /// The same value rounded to another number of decimals.
    [[nodiscard]] XCDouble Round(unsigned int decimals) const noexcept { return XCDouble(m_value, decimals); }

    /// The value with the other sign, rounded as before.
    XCDouble operator-() const noexcept { return XCDouble(-m_value, m_decimals); }
    /// Rounded to the larger number of decimals.
    XCDouble& operator+=(XCDouble other) noexcept { return Become(m_value + other.m_value, other.m_decimals); }
    XCDouble& operator-=(XCDouble other) noexcept { return Become(m_value - other.m_value, other.m_decimals); }
    XCDouble& operator*=(XCDouble other) noexcept { return Become(m_value * other.m_value, other.m_decimals); }
    /// By zero: an infinity, or "not a number" for 0 / 0.
    XCDouble& operator/=(XCDouble other) noexcept { return Become(m_value / other.m_value, other.m_decimals); }
    /// A plain number has no decimals of its own.
    XCDouble& operator+=(double other) noexcept { return Become(m_value + other, 0); }
    XCDouble& operator-=(double other) noexcept { return Become(m_value - other, 0); }
    XCDouble& operator*=(double other) noexcept { return Become(m_value * other, 0); }
    XCDouble& operator/=(double other) noexcept { return Become(m_value / other, 0); }

    friend XCDouble operator+(XCDouble a, XCDouble b) noexcept { return a += b; }
    friend XCDouble operator-(XCDouble a, XCDouble b) noexcept { return a -= b; }
    friend XCDouble operator*(XCDouble a, XCDouble b) noexcept { return a *= b; }
    friend XCDouble operator/(XCDouble a, XCDouble b) noexcept { return a /= b; }
    friend XCDouble operator+(XCDouble a, double b) noexcept { return a += b; }
    friend XCDouble operator-(XCDouble a, double b) noexcept { return a -= b; }
    friend XCDouble operator*(XCDouble a, double b) noexcept { return a *= b; }
    friend XCDouble operator/(XCDouble a, double b) noexcept { return a /= b; }
    friend XCDouble operator+(double a, XCDouble b) noexcept { return b += a; }
    friend XCDouble operator-(double a, XCDouble b) noexcept { return XCDouble(a - b.m_value, b.m_decimals); }
    friend XCDouble operator*(double a, XCDouble b) noexcept { return b *= a; }
    friend XCDouble operator/(double a, XCDouble b) noexcept { return XCDouble(a / b.m_value, b.m_decimals); }

    friend bool operator==(XCDouble a, XCDouble b) noexcept { return (a <=> b) == 0; }
    friend std::partial_ordering operator<=>(XCDouble a, XCDouble b) noexcept { return a.m_value <=> b.m_value; }
    friend bool operator==(XCDouble a, double b) noexcept { return (a <=> b) == 0; }
    friend std::partial_ordering operator<=>(XCDouble a, double b) noexcept { return a <=> XCDouble(b, a.m_decimals); }

private:
    XCDouble& Become(double value, unsigned int otherDecimals) noexcept
    {
        return *this = XCDouble(value, m_decimals > otherDecimals ? m_decimals : otherDecimals);
    }

    double m_value = 0;
    unsigned int m_decimals = kDefaultDecimals;
};
