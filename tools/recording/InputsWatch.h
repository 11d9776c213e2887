// SPDX-License-Identifier: Apache-2.0
//
// What is plugged into the inputs directory of the detection service, and what changes there.
#ifndef SRCWATCH_TOOLS_INPUTSWATCH_H
#define SRCWATCH_TOOLS_INPUTSWATCH_H

#include "Capture.h"
#include "Handle.h"

#include <functional>
#include <map>
#include <optional>
#include <string>

#include <gio/gio.h>
#include <json/value.h>

namespace ctl {

/// Returns an input as a recording has it; nothing for a capture is an input without a device.
Json::Value InputToJson(int port, const std::optional<srcwatch::Capture>& capture);

class InputsWatch {
public:
    /// @param onChange  Gets an input that changed, in the main loop; no exception may leave it.
    /// Throws a Failure if the directory cannot be watched.
    InputsWatch(std::string directory, std::function<void(const Json::Value& input)> onChange);
    InputsWatch(const InputsWatch&) = delete;
    InputsWatch& operator=(const InputsWatch&) = delete;
    ~InputsWatch();

    /// Returns the inputs that have a device.
    Json::Value Plugged() const;

private:
    using Monitor = srcwatch::Handle<GFileMonitor, g_object_unref>;
    struct Input {
        std::optional<srcwatch::Capture> capture;
        Monitor monitor;  // of the device's directory
    };

    static void OnChange(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event, void* self);
    static void OnDeviceChange(GFileMonitor* monitor, GFile* file, GFile* other, GFileMonitorEvent event, void* self);
    Monitor Watch(const std::string& path, GCallback callback);
    void Unplug(int port);
    void Refresh(int port);

    const std::string m_directory;
    const std::function<void(const Json::Value& input)> m_onChange;
    std::map<int, Input> m_inputs;
    Monitor m_monitor;
};

}  // namespace ctl

#endif
