// Levels of channels from a configuration. The lines are read first, under the lock of their file, and set as one table
// after that: a record that is written meanwhile meets the old levels or the new ones. A line that cannot be read is told
// and left out, as its channel is then as talkative as without a line; silence would hide what the log is for.
#include <XelbrinCore/XCLogSettings.h>

#include "errors/CoreError.h"

#include <utility>
#include <vector>

namespace {

/// The table of levels while it is read.
class LevelTable {
public:
    void Add(XCString const& channel, XCString const& text)
    {
        // The first fault is told; more of them would be found one by one in any case.
        int level = 0;
        if (XCLogLevelFromText(text.View(), level))
            m_levels.push_back({channel, level});
        else if (m_fault.Good())
            m_fault = xc::errors::MakeCoreError(XCErrLogLevel, channel, text);
    }
    XCErrorID SetFor(XCLogManager& manager)
    {
        manager.SetChannelLevels(std::move(m_levels));
        return m_fault;
    }

private:
    std::vector<XCLogChannelLevel> m_levels;
    XCErrorID m_fault;
};

} // namespace

XCErrorID XCSetLogLevels(XCLogManager& manager, XCConfigFile const& settings, std::wstring_view section)
{
    // The lock ends before the manager is told: subscribers may read settings while they hold its lock.
    LevelTable table;
    {
        XCConfigLock const lock(settings);
        if (XCConfigSection const* const lines = settings.FindSection(section))
            for (XCConfigLine const& line : *lines) table.Add(line.GetKey(), line.GetValue());
    }
    return table.SetFor(manager);
}

XCErrorID XCSetLogLevels(XCLogManager& manager, XCConfigLayers const& settings, std::wstring_view section)
{
    LevelTable table;
    for (XCString const& channel : settings.GetKeys(section))
        table.Add(channel, settings.GetString(section, channel, L"all"));
    return table.SetFor(manager);
}
