// Message sources over real modules.
#include <XelbrinCore/XCMessageSource.h>

#include <gtest/gtest.h>

namespace {

/// Filled while the program's static objects are built.
XCString const kBeforeMain = XCErrorID(XCSmartPtr<XCError>(new XCError(glbXCOREMsgSourceP, 15))).AsString();

TEST(CoreMessages, AnswerBeforeMain)
{
    EXPECT_TRUE(kBeforeMain == L"The thread has already been started.");
}

TEST(CoreMessages, SpeakTheLanguageAskedFor)
{
    XCString text;
    EXPECT_TRUE(glbXCOREMsgSourceP->GetText(text, 15, XCFormatContext(L"fra")).Good());
    EXPECT_TRUE(text == L"Le fil d'ex\u00E9cution a d\u00E9j\u00E0 \u00E9t\u00E9 d\u00E9marr\u00E9.");
}

} // namespace
