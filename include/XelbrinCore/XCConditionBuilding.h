// XCConditionBuilding.h - the operators that build conditions, on temporaries.
//
// WHAT     Field(L"age") >= 18 is a condition by value: bound to a reference or returned it lives on. XCCondition.h, which
//          includes this, has the operators of conditions that have a name.
// COST     A move for each operator.
#pragma once

#include <XelbrinCore/XCCondition.h>

#include <concepts>
#include <type_traits>
#include <utility>

namespace xc::condition {

/// A condition that nobody else can name.
template <class Self>
concept Temporary = !std::is_reference_v<Self> && !std::is_const_v<Self> && std::derived_from<Self, XCCondition>;

} // namespace xc::condition

/// @name The operators of a temporary
/// As the members do, and the result is the condition itself, of its own class.
/// @{
template <xc::condition::Temporary Self, class T>
Self operator==(Self&& condition, T const& value) requires(requires { condition == value; })
{
    return condition == value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator!=(Self&& condition, T const& value) requires(requires { condition != value; })
{
    return condition != value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator>=(Self&& condition, T const& value) requires(requires { condition >= value; })
{
    return condition >= value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator<=(Self&& condition, T const& value) requires(requires { condition <= value; })
{
    return condition <= value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator>(Self&& condition, T const& value) requires(requires { condition > value; })
{
    return condition > value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator<(Self&& condition, T const& value) requires(
    requires { condition < value; })
{
    return condition < value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator%(Self&& condition, T const& value) requires(requires { condition % value; })
{
    return condition % value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator/=(Self&& condition, T const& value) requires(requires { condition /= value; })
{
    return condition /= value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator&(Self&& condition, T const& value) requires(requires { condition& value; })
{
    return condition & value, std::move(condition);
}
template <xc::condition::Temporary Self, class T>
Self operator||(Self&& condition, T const& value) requires(requires { condition || value; })
{
    return condition || value, std::move(condition);
}
/// @}
