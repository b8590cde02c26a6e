// Crossing.h - throwing and catching by type, compiled into the host and into a module.
#pragma once

#include <XelbrinCore/XCDateTime.h>
#include <XelbrinCore/XCException.h>
#include <XelbrinCore/XCMessageSource.h>

#include <stdexcept>

enum class ThrownKind { Nothing, Plain, Message, LastError, Date, DateEx, DurationEx, Standard };

inline void ThrowKind(ThrownKind kind)
{
    switch (kind) {
    case ThrownKind::Plain: throw XCException(L"plain");
    case ThrownKind::Message: {
        XCSmartPtr<XCInRAMMessageSource> const source(new XCInRAMMessageSource);
        source->Add(9, L"plain");
        throw XCMsgException(9, XCSmartPtr<XCMessageSource>(source));
    }
    case ThrownKind::LastError: throw XCWindowsLastErrorException();
    case ThrownKind::Date: throw XCDateException(L"plain", XCDateTime(1));
    case ThrownKind::DateEx: throw XCDateExceptionEx(L"plain", XCDateTimeEx(2009, 12, 31));
    case ThrownKind::DurationEx: throw XCDurationExceptionEx(L"plain", XCDurationEx(3));
    case ThrownKind::Standard: throw std::runtime_error("plain");
    case ThrownKind::Nothing: break;
    }
}

/// The kind that was thrown, found by its type alone.
inline ThrownKind CatchKind(void (*thrower)(ThrownKind), ThrownKind kind)
{
    try {
        thrower(kind);
        return ThrownKind::Nothing;
    } catch (XCMsgException const& e) {
        return e.What() == L"plain" ? ThrownKind::Message : ThrownKind::Nothing;
    } catch (XCWindowsLastErrorException const&) {
        return ThrownKind::LastError;
    } catch (XCDateException const& e) {
        return e.GetValue() == XCDateTime(1) ? ThrownKind::Date : ThrownKind::Nothing;
    } catch (XCDateExceptionEx const& e) {
        return e.GetValue() == XCDateTimeEx(2009, 12, 31) ? ThrownKind::DateEx : ThrownKind::Nothing;
    } catch (XCDurationExceptionEx const& e) {
        return e.GetValue() == XCDurationEx(3) ? ThrownKind::DurationEx : ThrownKind::Nothing;
    } catch (XCException const& e) {
        return e.What() == L"plain" ? ThrownKind::Plain : ThrownKind::Nothing;
    } catch (std::exception const&) {
        return ThrownKind::Standard;
    }
}
