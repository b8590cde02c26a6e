// The compiler gives a constant member of an exported class a place in the library only when something here takes its
// address; programs that bind a reference to one need that place.
//
// They are listed by hand because the compiler says nothing about a missing one: inside the library each use is folded
// to its value, and only a program that binds a reference, say by passing the constant to std::min, fails to link. The
// list of exported names that is kept beside the build shows when one has been forgotten.
#include <XelbrinCore/XCApplication.h>
#include <XelbrinCore/XCBuffer.h>
#include <XelbrinCore/XCCondition.h>
#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCError.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCMarshal.h>
#include <XelbrinCore/XCOldDateTime.h>
#include <XelbrinCore/XCPlugIn.h>
#include <XelbrinCore/XCRegEx.h>
#include <XelbrinCore/XCString.h>
#include <XelbrinCore/XCUntypedVector.h>

namespace {

// Kept by the second mark though nothing reads it: the addresses are what it is for.
[[maybe_unused, gnu::used]] void const* const exportedConstants[] = {
    &XCString::npos,
    &XCString::kMaxLength,
    &XCDurationEx::minimum_,
    &XCDurationEx::maximum_,
    &XCTimeEx::NULL_TIME,
    &XCDateTime::kNull,
    &XCFormatContext::kMaxLanguage,
    &XCDouble::kMaxDecimals,
    &XCDouble::kDefaultDecimals,
    &XCErrorI::kIUID,
    &XCError::kIUID,
    &XCErrorWithArgs::kIUID,
    &XCErrorString::kIUID,
    &XCWinLastError::kIUID,
    &XCXMLError::kIUID,
    &XCStackDump::kMaxFrames,
    &XCBytes::npos,
    &XCBuffer::kMaxSize,
    &XCBuffer::kAlignment,
    &XCMarshaller::kHeadSize,
    &XCUntypedVector::npos,
    &XCRegExSyntaxNode::Unbounded,
    &XCRegExParserBase::kMaxNesting,
    &XCNFANodeSet::kSmallCount,
    &XCNFANodeSet::kNone,
    &XCRegEx::kMaxNodes,
    &XCCondition::kMaxNesting,
    &XCConditionSchema::npos,
    &XCPlugIn::kIUID,
    &XCRunPlugIn::kIUID,
    &XCThreadedRunPlugIn::kIUID,
    &XCThreadedRunPlugIn::kExitPatienceMs,
    &XCThreadedRunPlugIn::kExitStepMs,
    &XCPlugInContainer::kIUID,
    &XCApplicationWithPlugIns::kEntryName,
    &XCApplicationWithPlugIns::kExtension,
};

} // namespace
