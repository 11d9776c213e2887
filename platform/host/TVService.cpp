// SPDX-License-Identifier: Apache-2.0
// A TV service whose cables are settings: the detection service or a tool sets what is connected.
#include "Guarded.h"
#include "Leaked.h"
#include "SettingsStore.h"
#include "TVServiceAPI.h"
#include "srcwatch-host.h"

#include <string>

namespace host {
namespace {

std::string ConnectedKey(int sourceId) { return "memory/tv/source/" + std::to_string(sourceId) + "/connected"; }

class SourceControl : public ISourceControl {
public:
    int IsExternalSourceConnected(int source_id, bool* connected) override
    {
        if (connected == nullptr) return 0;

        return Guarded(0, [source_id, connected] {
            int state = 0;
            if (ReadNumber(ConnectedKey(source_id).c_str(), &state) != 0) return 0;
            *connected = state != 0;
            return 1;
        });
    }
};

}  // namespace
}  // namespace host

SRCWATCH_HOST_API int TVServiceAPI::CreateSourceControl(EProfile profile, int index, ISourceControl** control)
{
    if (profile != PROFILE_TYPE_MAIN || index != 0 || control == nullptr) return -1;

    return host::Guarded(-1, [control] {
        *control = &host::Leaked<host::SourceControl>();
        return 0;
    });
}

SRCWATCH_HOST_API int srcwatch_host_set_connected(int source_id, bool connected)
{
    return host::Guarded(-ENOMEM, [source_id, connected] {
        const srcwatch_host_value value = {nullptr, connected ? 1 : 0, 0};
        return host::WriteValue(host::ConnectedKey(source_id).c_str(), &value);
    });
}
