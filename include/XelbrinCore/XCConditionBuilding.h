// XCConditionBuilding.h - the operators that build conditions, on temporaries.
//
// WHAT     Field(L"age") >= 18 is a condition by value: bound to a reference or returned it lives on, and it is of its own
//          class. Each operator does what the member of XCCondition does (XCCondition.h, which includes this).
// COST     A move for each operator.
#pragma once

#include <concepts>
#include <type_traits>
#include <utility>

namespace xc::condition {

class Building;

/// A condition that nobody else can name.
template <class Self>
concept Temporary = !std::is_reference_v<Self> && !std::is_const_v<Self> && std::derived_from<Self, Building>;

/// The base of conditions through which their operators are found, and by nothing else.
class Building {
    template <Temporary Self, class T>
    friend Self operator==(Self&& condition, T const& value)
    {
        return condition == value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator!=(Self&& condition, T const& value)
    {
        return condition != value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator>=(Self&& condition, T const& value)
    {
        return condition >= value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator<=(Self&& condition, T const& value)
    {
        return condition <= value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator>(Self&& condition, T const& value)
    {
        return condition > value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator<(Self&& condition, T const& value)
    {
        return condition < value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator%(Self&& condition, T const& value)
    {
        return condition % value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator/=(Self&& condition, T const& value)
    {
        return condition /= value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator&(Self&& condition, T const& value)
    {
        return condition & value, std::forward<Self>(condition);
    }
    template <Temporary Self, class T>
    friend Self operator||(Self&& condition, T const& value)
    {
        return condition || value, std::forward<Self>(condition);
    }
};

} // namespace xc::condition
