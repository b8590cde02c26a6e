// What the tests made of the pages' examples begin with.
#pragma once

#include <XelbrinCore/XelbrinCore.h>

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>
#include <windows.h>

namespace xc_test {

/// Catches what is written to std::wcout.
class Console {
public:
    Console() : m_before(std::wcout.rdbuf(m_text.rdbuf())) {}
    ~Console() { std::wcout.rdbuf(m_before); }
    Console(Console const&) = delete;
    Console& operator=(Console const&) = delete;
    [[nodiscard]] std::string Text() const { return XCString(m_text.str()).AsUTF8(); }

private:
    std::wostringstream m_text;
    std::wstreambuf* m_before;
};

/// What members of a plug-in's class may count on.
class PlugInOfAPage : public XCThreadedRunPlugIn {
protected:
    XCString m_name;
};

} // namespace xc_test
