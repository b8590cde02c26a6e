// Whole files for the native build, by the C library and POSIX calls.
#include "narrow_path.h"
#include "win32/FileIo.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace xc::win32 {

namespace {

unsigned long Error(bool failed) noexcept
{
    return failed ? static_cast<unsigned long>(errno) : 0;
}

class NativeSteps final : public ReplaceSteps {
public:
    ~NativeSteps() override
    {
        if (m_file >= 0) ::close(m_file);
    }
    unsigned long Create(std::wstring const& target, std::wstring& temporary) override
    {
        for (wchar_t digit = L'0'; digit <= L'9' && m_file < 0; ++digit) {
            temporary = target + digit + L".tmp";
            m_file = ::open(Narrow(temporary).c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        }
        return Error(m_file < 0);
    }
    unsigned long Write(std::string_view bytes) override
    {
        return Error(::write(m_file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()));
    }
    unsigned long Flush() override { return 0; } // nobody pulls the plug of a test
    unsigned long Close() override { return Error(::close(std::exchange(m_file, -1)) != 0); }
    unsigned long Replace(std::wstring const& temporary, std::wstring const& target) override
    {
        return Error(std::rename(Narrow(temporary).c_str(), Narrow(target).c_str()) != 0);
    }
    void Remove(std::wstring const& temporary) noexcept override { std::remove(Narrow(temporary).c_str()); }

private:
    int m_file = -1;
};

} // namespace

unsigned long ReadWholeFile(std::wstring const& path, std::string& bytes)
{
    int const file = ::open(Narrow(path).c_str(), O_RDONLY);
    if (file < 0) return Error(true);
    struct stat facts {};
    ::fstat(file, &facts);
    bytes.resize(static_cast<std::size_t>(facts.st_size));
    ssize_t const read = ::read(file, bytes.data(), bytes.size());
    unsigned long const error = Error(read < 0);
    bytes.resize(read < 0 ? 0 : static_cast<std::size_t>(read));
    ::close(file);
    return error;
}

std::unique_ptr<ReplaceSteps> SystemReplaceSteps()
{
    return std::make_unique<NativeSteps>();
}

} // namespace xc::win32
