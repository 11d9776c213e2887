// SPDX-License-Identifier: Apache-2.0
//
// Messages of the event channel, both ways, against a decoder and a writer of its own, which know nothing of streams.
//
// Input: what to do, then the message; or, for sending, the event's fields and the appended block.
#include "ChannelBus.h"
#include "Fuzz.h"
#include "QDInfoEventManager.h"

#include <memory>

#include <glib.h>

namespace {

using fuzz::Input;
using fuzz::Require;

constexpr int kRegisteredType = SRCWATCH_EVENT_DETECTED;
constexpr int kOtherType = SRCWATCH_EVENT_RECORDS_SAVED;
constexpr std::size_t kFieldSize = sizeof(srcwatch_event_s::str_args[0]);

struct Event {
    std::int32_t numbers[10] = {};
    std::string texts[3];
    std::string rest;  // what lies behind the third text
};

bool operator==(const Event& a, const Event& b)
{
    return std::equal(std::begin(a.numbers), std::end(a.numbers), b.numbers) &&
           std::equal(std::begin(a.texts), std::end(a.texts), b.texts) && a.rest == b.rest;
}

// Ten numbers and three words between white space. What cannot be read, and everything after it, is zero and empty.
class Decoder {
public:
    explicit Decoder(const std::string& message) : m_message(message) {}

    Event Decode()
    {
        Event event;
        for (std::int32_t& number : event.numbers) number = Number();
        for (std::string& text : event.texts) text = TextOf(Word());
        event.rest = m_message.substr(m_at);
        return event;
    }

private:
    static bool IsSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
    bool AtEnd() const { return m_at == m_message.size(); }
    char Here() const { return m_message[m_at]; }
    bool AtDigit() const { return !AtEnd() && Here() >= '0' && Here() <= '9'; }

    // False when nothing more can be read.
    bool FindItem()
    {
        if (m_over) return false;
        while (!AtEnd() && IsSpace(Here())) ++m_at;
        m_over = AtEnd();
        return !m_over;
    }

    std::int32_t Number()
    {
        if (!FindItem()) return 0;
        const bool negative = Here() == '-';
        if (negative || Here() == '+') ++m_at;
        const std::int64_t limit = negative ? std::int64_t{1} << 31 : (std::int64_t{1} << 31) - 1;
        bool valid = AtDigit();
        std::int64_t size = 0;
        for (; AtDigit(); ++m_at) {
            if (size <= limit) size = size * 10 + (Here() - '0');
        }
        valid = valid && size <= limit;
        m_over = !valid || AtEnd();
        return valid ? static_cast<std::int32_t>(negative ? -size : size) : 0;
    }

    std::string Word()
    {
        if (!FindItem()) return "";
        const std::size_t start = m_at;
        while (!AtEnd() && !IsSpace(Here())) ++m_at;
        m_over = AtEnd();
        return m_message.substr(start, m_at - start);
    }

    static std::string TextOf(std::string word)
    {
        std::replace(word.begin(), word.end(), '#', ' ');
        return word == "UNKNOWN" ? "" : word.substr(0, kFieldSize - 1);
    }

    const std::string& m_message;
    std::size_t m_at = 0;
    bool m_over = false;
};

std::string ValidUtf8(const std::string& text)
{
    const std::unique_ptr<char, decltype(&g_free)> valid(
        g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())), &g_free);
    return valid.get();
}

// What the callback got in the execution at hand.
struct Received {
    bool called = false;
    bool writesReply = false;
    Event event;
};

void Receive(void* userData, srcwatch_event_s* event)
{
    auto& received = *static_cast<Received*>(userData);
    Require(!received.called, "a message gives one event");
    Require(event->type == kRegisteredType, "the event has the type of the message");
    Require(event->ptr_args[2] == nullptr && event->ptr_args[3] == nullptr, "the other pointers are null");
    received.called = true;
    std::copy(std::begin(event->args), std::end(event->args), received.event.numbers);
    for (std::size_t i = 0; i < 3; ++i) {
        const char* const field = event->str_args[i];
        received.event.texts[i] = std::string(field, strnlen(field, kFieldSize));
        Require(
            std::all_of(field + received.event.texts[i].size(), field + kFieldSize, [](char c) { return c == '\0'; }),
            "zeros follow a text");
    }
    std::streambuf& request = *static_cast<std::stringstream*>(event->ptr_args[1])->rdbuf();
    received.event.rest.resize(static_cast<std::size_t>(std::max<std::streamsize>(request.in_avail(), 0)));
    request.sgetn(received.event.rest.data(), static_cast<std::streamsize>(received.event.rest.size()));
    if (received.writesReply) *static_cast<std::stringstream*>(event->ptr_args[0]) << received.event.texts[0];
}

// One receiver for all executions, so that none may leave anything to the next.
Received& TheReceived()
{
    static Received& received = *new Received;
    static const qdinfo::CQDEventReciever& receiver = [&]() -> const qdinfo::CQDEventReciever& {
        auto* const made = new qdinfo::CQDEventReciever("", true);
        made->RegisterEventCallback(kRegisteredType, &Receive, &received);
        fuzz::AcquireBus();
        return *made;
    }();
    static_cast<void>(receiver);
    received = Received();
    return received;
}

void CheckSignal(int type, const std::string& message)
{
    Received& received = TheReceived();
    fuzz::DeliverSignal({type, message});
    Require(received.called == (type == kRegisteredType), "events of registered types are called back, no others");
    if (received.called) Require(received.event == Decoder(message).Decode(), "a signal is decoded as stated");
}

void CheckCall(int type, const std::string& message)
{
    Received& received = TheReceived();
    received.writesReply = true;
    const std::string reply = fuzz::CallMethod({type, message});
    Require(received.called == (type == kRegisteredType), "calls of registered types are called back, no others");
    if (received.called) Require(received.event == Decoder(message).Decode(), "a call is decoded as stated");
    Require(reply == ValidUtf8(received.event.texts[0]), "the reply is what the callback wrote");
}

srcwatch_event_s EventFrom(Input& input)
{
    srcwatch_event_s event{};
    for (std::int32_t& arg : event.args) arg = input.Number();
    for (auto& field : event.str_args) {
        const std::string text = input.Text(kFieldSize);
        std::copy(text.begin(), text.end(), field);
    }
    return event;
}

std::string Written(const srcwatch_event_s& event, const std::string& extra)
{
    std::string message;
    for (const std::int32_t arg : event.args) message += std::to_string(arg) + '\t';
    for (const auto& field : event.str_args) {
        std::string text(field, strnlen(field, kFieldSize));
        std::replace(text.begin(), text.end(), ' ', '#');
        message += (text.empty() ? "UNKNOWN" : text) + '\t';
    }
    return message + extra + '\t';
}

void CheckSending(Input& input)
{
    const srcwatch_event_s event = EventFrom(input);
    const std::string extra = fuzz::Printed(input.Rest());
    qdinfo::CQDEventSender sender("");
    sender.AppendArgs(event);
    Require(sender.SendSignal(kRegisteredType, std::stringstream(extra)) == 1, "a signal is sent");
    Require(fuzz::Emitted().type == kRegisteredType, "the signal has its type");
    Require(fuzz::Emitted().text == ValidUtf8(Written(event, extra)), "a message is written as stated");
    const std::string sent = fuzz::Emitted().text;
    CheckSignal(kRegisteredType, sent);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    switch (input.Below(32)) {
        case 0:
            CheckSending(input);
            break;
        case 1:
            CheckCall(kRegisteredType, fuzz::Printed(input.Rest()));
            break;
        case 2:
            CheckCall(kOtherType, fuzz::Printed(input.Rest()));
            break;
        case 3:
            CheckSignal(kOtherType, fuzz::Printed(input.Rest()));
            break;
        default:
            CheckSignal(kRegisteredType, fuzz::Printed(input.Rest()));
    }
    return 0;
}
