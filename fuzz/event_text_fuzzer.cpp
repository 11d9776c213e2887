// SPDX-License-Identifier: Apache-2.0
//
// The text form of an event, both ways, against a decoder and a writer of its own, which use no streams.
//
// Input: what to do, then the message; or, for writing, the event's fields and the appended block.
#include "EventText.h"
#include "Fuzz.h"
#include "Handle.h"

#include <cstdint>

#include <glib.h>

namespace {

using fuzz::Input;
using fuzz::Require;

constexpr std::size_t kFieldSize = sizeof(srcwatch_event_s::str_args[0]);

struct Event {
    std::int32_t numbers[10] = {};
    std::string texts[3];
    std::string rest;  // what follows the third text
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

    // False if nothing more can be read.
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
    const srcwatch::Handle<char, g_free> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    return valid.get();
}

// What the receiver makes of a message. The stream is the same for all messages, so that none may leave anything to the
// next.
Event Read(const std::string& message)
{
    static std::stringstream& stream = *new std::stringstream;
    qdinfo::Reset(stream);
    stream.str(message);
    srcwatch_event_s read{};
    qdinfo::SetTexts(read, qdinfo::ReadItems(stream, read));

    Event event;
    std::copy(std::begin(read.args), std::end(read.args), event.numbers);
    for (std::size_t i = 0; i < 3; ++i) {
        const char* const field = read.str_args[i];
        event.texts[i] = std::string(field, strnlen(field, kFieldSize));
        Require(std::all_of(field + event.texts[i].size(), field + kFieldSize, [](char c) { return c == '\0'; }),
                "zeros follow a text");
    }
    std::streambuf& rest = *stream.rdbuf();
    event.rest.resize(static_cast<std::size_t>(std::max<std::streamsize>(rest.in_avail(), 0)));
    rest.sgetn(event.rest.data(), static_cast<std::streamsize>(event.rest.size()));
    return event;
}

void CheckReading(const std::string& message)
{
    Require(Read(message) == Decoder(message).Decode(), "a message is read as the decoder here reads it");
}

void CheckUtf8(const std::string& text)
{
    std::string valid = text;
    qdinfo::MakeValidUtf8(valid);
    Require(valid == ValidUtf8(text), "what is sent is UTF-8, and unchanged where it was");
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

void CheckWriting(Input& input)
{
    const srcwatch_event_s event = EventFrom(input);
    const std::string extra = fuzz::Printed(input.Rest());
    std::stringstream stream;
    qdinfo::Reset(stream);
    qdinfo::WriteItems(stream, event.args);
    qdinfo::WriteItems(stream, qdinfo::WordsOf(event));
    stream << extra << qdinfo::kFieldSeparator;
    Require(stream.str() == Written(event, extra), "a message is written as the writer here writes it");
    CheckReading(stream.str());
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    Input input(bytes, size);
    switch (input.Below(32)) {
        case 0:
            CheckWriting(input);
            break;
        case 1:
            CheckUtf8(fuzz::Printed(input.Rest()));
            break;
        default:
            CheckReading(fuzz::Printed(input.Rest()));
    }
    return 0;
}
