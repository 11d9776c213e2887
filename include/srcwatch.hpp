// SPDX-License-Identifier: Apache-2.0
/**
 * @file
 * The functions of srcwatch-api.h for C++17: results instead of buffers and codes, texts as std::string, typed events.
 *
 * Header only, and nothing but those functions is called. Everything that is said there of ports, of threads and of
 * what is read holds here, too: each function without another note reads the settings store once, and may be called
 * from any thread.
 *
 *     if (const auto device = srcwatch::device(0)) std::cout << device->name << '\n';
 */
#ifndef SRCWATCH_HPP
#define SRCWATCH_HPP

#include "srcwatch-api.h"
#include "srcwatch-protocol.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace srcwatch {

/// Port of the optical source. HDMI inputs are 0 to 7.
constexpr int optical_port = SRCWATCH_PORT_OPTICAL;

// ---------------------------------------------------------------------------------------------------------------------
// Results

/// Why there is no value.
enum class Error {
    unreadable = SRCWATCH_ERROR_JSON,  ///< the stored record or its member is of the wrong kind
    not_a_port = SRCWATCH_ERROR_PORT,  ///< the port is not 0 to 7 or 99
    no_codeset = SRCWATCH_NO_CODESET,  ///< no codeset is known for the device
    no_progress = 10,                  ///< the progress of the scan cannot be read, or has no meaning
    already_subscribed = 11            ///< the process has a subscription, or a callback of the C function
};

/// @cond
namespace detail {

template <typename Value>
struct Word {
    Value value;
    const char* text;
};

// The word for a value; that of a later version is what it is and its number.
template <typename Value, std::size_t size>
std::string word_of(Value value, const Word<Value> (&words)[size], const char* what)
{
    for (const Word<Value>& word : words) {
        if (word.value == value) return word.text;
    }
    return what + std::to_string(static_cast<int>(value));
}

}  // namespace detail
/// @endcond

/// Returns an error in words.
inline std::string to_string(Error error)
{
    constexpr detail::Word<Error> words[] = {{Error::unreadable, "the stored record cannot be read"},
                                             {Error::not_a_port, "not a port"},
                                             {Error::no_codeset, "no codeset is known for the device"},
                                             {Error::no_progress, "the progress of the scan is not known"},
                                             {Error::already_subscribed, "the process has a subscription already"}};
    return detail::word_of(error, words, "error ");
}

/// Thrown by Result::value() without a value.
class BadResult : public std::runtime_error {
public:
    explicit BadResult(Error error) : std::runtime_error(to_string(error)), m_error(error) {}
    Error error() const noexcept { return m_error; }

private:
    Error m_error;
};

/// A value, or the error that there is instead.
template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : m_content(std::move(value)) {}
    Result(Error error) : m_content(error) {}

    bool has_value() const noexcept { return m_content.index() == 0; }
    explicit operator bool() const noexcept { return has_value(); }

    /// @name The value. value() throws BadResult if there is none; the operators must not be used then. That of a
    /// temporary is moved out, so that it can be looped over: for (const Device& device : devices().value())
    /// @{
    const T& value() const&
    {
        if (!has_value()) throw BadResult(error());
        return std::get<0>(m_content);
    }
    T value() &&
    {
        if (!has_value()) throw BadResult(error());
        return std::get<0>(std::move(m_content));
    }
    const T& operator*() const& noexcept { return *std::get_if<0>(&m_content); }
    T operator*() && { return std::move(*std::get_if<0>(&m_content)); }
    const T* operator->() const noexcept { return std::get_if<0>(&m_content); }
    T* operator->() noexcept { return std::get_if<0>(&m_content); }
    T value_or(T other) const { return has_value() ? **this : std::move(other); }
    /// @}

    /// The error. Must not be called if there is a value.
    Error error() const noexcept { return *std::get_if<1>(&m_content); }

private:
    std::variant<T, Error> m_content;
};

// ---------------------------------------------------------------------------------------------------------------------
// Types and states. A value that a later service stores is kept as it is; to_string() gives its number.

/// What kind of device it is.
enum class DeviceType {
    none = 0,  ///< no device, or not detected yet
    set_top_box = SRCWATCH_DEVICE_SET_TOP_BOX,
    disc_player = SRCWATCH_DEVICE_DISC_PLAYER,
    home_theatre = SRCWATCH_DEVICE_HOME_THEATRE,
    streaming_box = SRCWATCH_DEVICE_STREAMING_BOX,
    game_console = SRCWATCH_DEVICE_GAME_CONSOLE,
    other = SRCWATCH_DEVICE_OTHER,
    not_supported = SRCWATCH_DEVICE_NOT_SUPPORTED,
    pc = SRCWATCH_DEVICE_PC
};

/// What the first-setup scan found on a port.
enum class ScanState {
    not_scanned = SRCWATCH_SCAN_NOT_SCANNED,
    found = SRCWATCH_SCAN_FOUND,
    empty = SRCWATCH_SCAN_EMPTY
};

/// Where the first-setup scan is.
enum class ScanStage {
    running,       ///< or no scan was started yet
    final_stage,   ///< nearly or quite finished; the percentage stays at 90
    stopped,       ///< can be resumed
    failed,        ///< the number of inputs is not known
    nothing_found  ///< finished without a device
};

inline std::string to_string(DeviceType type)
{
    constexpr detail::Word<DeviceType> words[] = {{DeviceType::none, "none"},
                                                  {DeviceType::set_top_box, "set-top box"},
                                                  {DeviceType::disc_player, "disc player"},
                                                  {DeviceType::home_theatre, "home theatre"},
                                                  {DeviceType::streaming_box, "streaming box"},
                                                  {DeviceType::game_console, "game console"},
                                                  {DeviceType::other, "other"},
                                                  {DeviceType::not_supported, "not supported"},
                                                  {DeviceType::pc, "PC"}};
    return detail::word_of(type, words, "type ");
}

inline std::string to_string(ScanState state)
{
    constexpr detail::Word<ScanState> words[] = {
        {ScanState::not_scanned, "not scanned"}, {ScanState::found, "found"}, {ScanState::empty, "empty"}};
    return detail::word_of(state, words, "state ");
}

inline std::string to_string(ScanStage stage)
{
    constexpr detail::Word<ScanStage> words[] = {{ScanStage::running, "running"},
                                                 {ScanStage::final_stage, "final stage"},
                                                 {ScanStage::stopped, "stopped"},
                                                 {ScanStage::failed, "failed"},
                                                 {ScanStage::nothing_found, "nothing found"}};
    return detail::word_of(stage, words, "stage ");
}

// ---------------------------------------------------------------------------------------------------------------------
// One field of the device on a port

/// @cond
namespace detail {

template <std::size_t size>
std::string text_of(const char (&buffer)[size])
{
    return std::string(buffer, strnlen(buffer, size));
}

inline Result<std::string> text(int (*query)(char*, int), int port)
{
    char buffer[SRCWATCH_TEXT_SIZE] = {};
    const int result = query(buffer, port);
    if (result != SRCWATCH_OK) return static_cast<Error>(result);
    return text_of(buffer);
}

template <typename T, typename Query>
Result<T> number(Query query)
{
    int value = 0;
    const int result = query(&value);
    if (result != SRCWATCH_OK) return static_cast<Error>(result);
    return static_cast<T>(value);
}

}  // namespace detail
/// @endcond

/// @name Texts, of at most 100 bytes
/// @{
inline Result<std::string> cec_name(int port) { return detail::text(srcwatch_get_cec_name, port); }
inline Result<std::string> model_name(int port) { return detail::text(srcwatch_get_model_name, port); }
inline Result<std::string> manufacturer_name(int port) { return detail::text(srcwatch_get_manufacturer_name, port); }
inline Result<std::string> codeset_name(int port) { return detail::text(srcwatch_get_codeset_name, port); }
inline Result<std::string> provider_name(int port) { return detail::text(srcwatch_get_logo_mso_name, port); }
inline Result<std::string> cec_device_name(int port) { return detail::text(srcwatch_get_cec_device_name, port); }
inline Result<std::string> aksv(int port) { return detail::text(srcwatch_get_aksv_info, port); }
/// The strings of a detection result; empty for the types that have none.
inline Result<std::string> result_text_1(int port) { return detail::text(srcwatch_get_result_str1_name, port); }
inline Result<std::string> result_text_2(int port) { return detail::text(srcwatch_get_result_str2_name, port); }
/// @}

/// Returns the short name of the remote-control codeset, of at most 10 bytes, or Error::no_codeset. Reads twice.
inline Result<std::string> codeset(int port)
{
    char buffer[SRCWATCH_CODESET_TEXT_SIZE] = {};
    const int result = srcwatch_get_codeset_info(port, nullptr, buffer);
    if (result != SRCWATCH_OK) return static_cast<Error>(result);
    return detail::text_of(buffer);
}

inline Result<DeviceType> device_type(int port)
{
    return detail::number<DeviceType>([port](int* value) { return srcwatch_get_product_type_name(port, value); });
}

/// Returns how often the user denied the detection result.
inline Result<int> deny_count(int port)
{
    return detail::number<int>([port](int* value) { return srcwatch_get_denycount(value, port); });
}

/// Returns how the device was detected: a value of enum srcwatch_detection_method.
inline Result<int> detection_method(int port)
{
    return detail::number<int>([port](int* value) { return srcwatch_get_detection_moethod(port, value); });
}

inline Result<ScanState> scan_state(int port)
{
    return detail::number<ScanState>([port](int* value) { return srcwatch_get_oobe_scan_state(port, value); });
}

/// Whether the device is another one than before, and where it was seen last.
struct Change {
    bool changed = false;
    int previous_port = -1;  ///< -1 without one
};

inline Result<Change> change(int port)
{
    Change found;
    const int result = srcwatch_get_changed_device_info(port, &found.previous_port, &found.changed);
    if (result != SRCWATCH_OK) return static_cast<Error>(result);
    return found;
}

// ---------------------------------------------------------------------------------------------------------------------
// What to show of devices

/// The device on a port, as it is to be shown.
struct Device {
    int port = 0;
    DeviceType type = DeviceType::none;
    std::string name;    ///< "Unknown" where the device has none to show; empty without a device
    std::string detail;  ///< the brand, or what is known of a device of an unknown kind

    bool is_present() const noexcept { return type != DeviceType::none; }
};

/// Returns what srcwatch_get_device_info() composes. One read gives all of it. A port without a device has the type
/// none.
inline Result<Device> device(int port)
{
    int type = 0;
    char name[SRCWATCH_TEXT_SIZE] = {};
    char more[SRCWATCH_TEXT_SIZE] = {};
    const int result = srcwatch_get_device_info(port, &type, name, more);
    if (result != SRCWATCH_OK) return static_cast<Error>(result);
    if (type == 0) return Device{port, DeviceType::none, "", ""};
    return Device{port, static_cast<DeviceType>(type), detail::text_of(name), detail::text_of(more)};
}

/// Returns the devices that are there, in the order of their ports, the optical one last; or the first error. One read
/// for each input of the TV.
inline Result<std::vector<Device>> devices()
{
    std::vector<Device> found;
    const int inputs = std::clamp(get_hdmi_count(), 0, 8);
    for (int i = 0; i <= inputs; ++i) {
        Result<Device> one = device(i < inputs ? i : optical_port);
        if (!one) return one.error();
        if (one->is_present()) found.push_back(*std::move(one));
    }
    return found;
}

// ---------------------------------------------------------------------------------------------------------------------
// Features and scans

/// Switches and states of the TV; false also where one cannot be read.
struct Features {
    bool hotplug_enabled = false;       ///< hot-plug detection is switched on
    bool hotplug_running = false;       ///< a device is being detected
    bool mvpd_enabled = false;          ///< MVPD detection is switched on
    bool notification_running = false;  ///< the HDMI notification is on the screen
    bool no_device = false;             ///< no HDMI device is, or can be, found
};

/// Asks for all of them, which is a setting each and, for no_device, the TV service for each input.
inline Features features()
{
    return {srcwatch_is_HotPlug_enable(), srcwatch_is_HotPlug_progress(), srcwatch_is_MVPD_enable(),
            srcwatch_Is_hdmi_notification_running(), srcwatch_is_no_device()};
}

/// How far the first-setup scan is.
struct ScanProgress {
    ScanStage stage = ScanStage::running;
    int percent = 0;  ///< 0 to 90; 0 where a result ended the scan
};

/// Commands to the service's first-setup scan, and its progress. They go to the service; whether one runs is not known.
class Scan {
public:
    void stop() const { srcwatch_oobe_scan_stop(); }
    void resume() const { srcwatch_oobe_scan_resume(); }

    Result<ScanProgress> progress() const
    {
        ScanProgress found;
        const int result = srcwatch_get_oobe_stb_scan_progress(&found.percent);
        if (result == SRCWATCH_PROGRESS_UNREADABLE || result == SRCWATCH_PROGRESS_UNDEFINED) return Error::no_progress;
        if (result > 0) found.stage = ScanStage::final_stage;
        if (result == SRCWATCH_SCAN_STOPPED) found.stage = ScanStage::stopped;
        if (result == SRCWATCH_SCAN_FAILED) found.stage = ScanStage::failed;
        if (result == SRCWATCH_SCAN_NOTHING_FOUND) found.stage = ScanStage::nothing_found;
        return found;
    }
};

/// Starts the first-setup scan. Its end is the event ScanFinished. A Scan{} is the same without starting one.
inline Scan scan()
{
    srcwatch_oobe_scan_start();
    return {};
}

// ---------------------------------------------------------------------------------------------------------------------
// Events

/// A device was plugged in or out.
struct ConnectionChanged {
    int port;
    bool plugged;
};

/// A device was detected.
struct Detected {
    int port;
    DeviceType type;
    bool changed;  ///< another device than was seen last on this port
    std::string name;
    std::string brand;
    std::string provider;
};

/// A scan went on.
struct ScanProgressed {
    int percent;
    int port;
};

/// A scan ended.
struct ScanFinished {
    int result;  ///< a value of enum srcwatch_scan_result
    int found;   ///< number of devices
};

using Event = std::variant<ConnectionChanged, Detected, ScanProgressed, ScanFinished>;
using EventCallback = std::function<void(const Event&)>;

/// @cond
namespace detail {

struct Subscriber : std::enable_shared_from_this<Subscriber> {
    explicit Subscriber(EventCallback function) : callback(std::move(function)) {}

    // The subscription may end within the callback, which has to live until it returns.
    static void handle(void* self, srcwatch_event_s* event)
    {
        const std::shared_ptr<Subscriber> subscriber = static_cast<Subscriber*>(self)->shared_from_this();
        const int32_t(&args)[10] = event->args;
        const auto text = [event](std::size_t index) { return text_of(event->str_args[index]); };
        switch (event->type) {
            case SRCWATCH_EVENT_CONNECTION:
                return subscriber->callback(ConnectionChanged{args[0], args[1] != 0});
            case SRCWATCH_EVENT_DETECTED:
                return subscriber->callback(
                    Detected{args[0], static_cast<DeviceType>(args[1]), args[2] != 0, text(0), text(1), text(2)});
            case SRCWATCH_EVENT_SCAN_PROGRESS:
                return subscriber->callback(ScanProgressed{args[0], args[1]});
            case SRCWATCH_EVENT_SCAN_FINISHED:
                return subscriber->callback(ScanFinished{args[0], args[1]});
            default:
                return;
        }
    }

    EventCallback callback;
};

}  // namespace detail
/// @endcond

/// Events are delivered while it exists. Can be moved; may be destroyed within its own callback.
class [[nodiscard]] Subscription {
public:
    Subscription(Subscription&& other) noexcept = default;
    Subscription& operator=(Subscription&& other) noexcept
    {
        if (this == &other) return *this;
        end();
        m_subscriber = std::move(other.m_subscriber);
        return *this;
    }
    ~Subscription() { end(); }

private:
    explicit Subscription(std::shared_ptr<detail::Subscriber> subscriber) : m_subscriber(std::move(subscriber)) {}

    void end()
    {
        if (!m_subscriber) return;
        static_cast<void>(srcwatch_unregister_event_callback(&detail::Subscriber::handle));  // it is registered
        m_subscriber.reset();
    }

    friend Result<Subscription> subscribe(EventCallback callback);

    std::shared_ptr<detail::Subscriber> m_subscriber;
};

/**
 * Has events delivered to a function, by the GLib main loop of the calling thread; Qt's main loop on Linux is one.
 *
 * A process has one subscription at a time: Error::already_subscribed, which also is the result without memory for one.
 * Without a bus there is a subscription and no event arrives. See srcwatch_register_event_callback().
 *
 * @param callback  May call every function of this header. An exception that it throws is logged and goes no further.
 */
inline Result<Subscription> subscribe(EventCallback callback)
{
    auto subscriber = std::make_shared<detail::Subscriber>(std::move(callback));
    if (srcwatch_register_event_callback(&detail::Subscriber::handle, subscriber.get()) == 0)
        return Error::already_subscribed;
    return Subscription(std::move(subscriber));
}

}  // namespace srcwatch

#endif
