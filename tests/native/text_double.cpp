// Code pages for the native build, by the C library's own tables.
#include "win32/CodePage.h"

#include <iconv.h>

namespace xc::win32 {

namespace {

struct Converter {
    Converter(std::string const& to, std::string const& from) : handle(::iconv_open(to.c_str(), from.c_str())) {}
    ~Converter()
    {
        if (IsOpen()) ::iconv_close(handle);
    }
    Converter(Converter const&) = delete;
    Converter& operator=(Converter const&) = delete;
    [[nodiscard]] bool IsOpen() const { return handle != iconv_t(-1); }

    iconv_t handle;
};

template <class Out, class In>
std::optional<Out> Convert(std::string const& to, std::string const& from, In in)
{
    Converter const converter(to, from);
    Out out(in.size() * 4 + 4, 0);
    char* source = const_cast<char*>(reinterpret_cast<char const*>(in.data()));
    std::size_t sourceLeft = in.size() * sizeof(in[0]);
    char* target = reinterpret_cast<char*>(out.data());
    std::size_t targetLeft = out.size() * sizeof(out[0]);
    if (!converter.IsOpen() || ::iconv(converter.handle, &source, &sourceLeft, &target, &targetLeft) != 0)
        return std::nullopt;
    out.resize(out.size() - targetLeft / sizeof(out[0]));
    return out;
}

std::string NameOf(unsigned int codePage)
{
    return "CP" + std::to_string(codePage);
}

} // namespace

CodePageFacts GetCodePageFacts(unsigned int codePage) noexcept
{
    unsigned int const number = codePage == 0 ? 1252 : codePage;
    bool const known = Converter(NameOf(number), "UTF-16LE").IsOpen();
    return {known, number, number == 932 ? 2u : 1u};
}

std::optional<std::wstring> BytesToUnits(unsigned int codePage, std::string_view bytes)
{
    return Convert<std::wstring>("UTF-16LE", NameOf(codePage), bytes);
}

std::optional<std::string> UnitsToBytes(unsigned int codePage, std::wstring_view units)
{
    return Convert<std::string>(NameOf(codePage), "UTF-16LE", units);
}

std::size_t CharacterLength(unsigned int codePage, unsigned char lead) noexcept
{
    return codePage == 932 && ((lead >= 0x81 && lead <= 0x9F) || (lead >= 0xE0 && lead <= 0xFC)) ? 2 : 1;
}

} // namespace xc::win32
