// SPDX-License-Identifier: Apache-2.0
#include "AksvHider.h"

#include "Aksv.h"
#include "Failure.h"
#include "Hex.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <numeric>
#include <optional>
#include <vector>

#include <sys/random.h>

namespace ctl {

namespace {

using srcwatch::Bytes;

constexpr std::size_t kKeySize = 32;
constexpr std::size_t kAksvSize = 5;
constexpr std::size_t kAksvBits = kAksvSize * 8;
constexpr std::size_t kSetBits = kAksvBits / 2;

// A member of a document, also where the document is a text in another one; or digits that stand alone.
constexpr const char* kPattern = R"((?<name>"aksv\\*"\s*:\s*\\*")(?<value>[^"\\]*))"
                                 R"(|(?<![0-9a-z])(?<digits>[0-9a-f]{10})(?![0-9a-z]))";
constexpr auto kOptions = static_cast<GRegexCompileFlags>(G_REGEX_CASELESS | G_REGEX_RAW | G_REGEX_OPTIMIZE);

Bytes RandomKey()
{
    Bytes key(kKeySize);
    if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
        throw Failure(std::string("cannot get random numbers: ") + strerrordesc_np(errno));
    }
    return key;
}

Bytes Digest(const Bytes& key, const Bytes& bytes)
{
    const srcwatch::Handle<GHmac, g_hmac_unref> hmac(g_hmac_new(G_CHECKSUM_SHA256, key.data(), key.size()));
    g_hmac_update(hmac.get(), bytes.data(), static_cast<gssize>(bytes.size()));
    Bytes digest(32);
    gsize size = digest.size();
    g_hmac_get_digest(hmac.get(), digest.data(), &size);
    return digest;
}

// Five bytes with as many bits set as a valid AKSV has; the digest says which.
Bytes ValidAksv(const Bytes& digest)
{
    std::vector<std::size_t> bits(kAksvBits);
    std::iota(bits.begin(), bits.end(), 0);
    Bytes aksv(kAksvSize);
    for (std::size_t i = 0; i < kSetBits; ++i) {
        std::swap(bits[i], bits[i + digest[i] % (kAksvBits - i)]);
        aksv[bits[i] / 8] |= static_cast<std::uint8_t>(1U << (bits[i] % 8));
    }
    return aksv;
}

std::string Lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), g_ascii_tolower);
    return text;
}

// Null if the match has no such part.
std::optional<std::string> PartOf(const GMatchInfo* match, const char* part)
{
    int begin = -1;
    int end = -1;
    if (g_match_info_fetch_named_pos(match, part, &begin, &end) == FALSE || begin < 0) return std::nullopt;
    return std::string(g_match_info_get_string(match) + begin, static_cast<std::size_t>(end - begin));
}

}  // namespace

AksvHider::AksvHider(Mode mode)
    : m_mode(mode),
      m_key(RandomKey()),
      m_pattern(g_regex_new(kPattern, kOptions, static_cast<GRegexMatchFlags>(0), nullptr))
{
}

Bytes AksvHider::SubstituteOf(const Bytes& aksv) const
{
    const Bytes digest = Digest(m_key, aksv);
    if (aksv.size() == kAksvSize) {
        Bytes substitute = ValidAksv(digest);
        if (!srcwatch::DecodeAksv(aksv).value) substitute[0] ^= 1U;
        return substitute;
    }
    Bytes substitute(aksv.size());
    for (std::size_t i = 0; i < substitute.size(); ++i) substitute[i] = digest[i % digest.size()];
    return substitute;
}

Bytes AksvHider::Hide(const Bytes& aksv)
{
    m_known.insert(srcwatch::ToHex(aksv));
    return SubstituteOf(aksv);
}

// What is not digits in pairs is replaced by other digits.
std::string AksvHider::HideMember(const std::string& value)
{
    if (const auto bytes = srcwatch::FromHex(Lower(value))) return srcwatch::ToHex(Hide(*bytes));
    return srcwatch::ToHex(SubstituteOf(Bytes(value.begin(), value.end()))).substr(0, value.size());
}

std::string AksvHider::HideDigits(const std::string& digits)
{
    const std::string aksv = Lower(digits);
    const Bytes bytes = srcwatch::FromHex(aksv).value_or(Bytes());
    const bool isNumber = aksv.find_first_not_of("0123456789") == std::string::npos;
    const bool isAksv = m_known.count(aksv) != 0 || (!isNumber && srcwatch::DecodeAksv(bytes).value);
    return isAksv ? srcwatch::ToHex(SubstituteOf(bytes)) : digits;
}

int AksvHider::Replace(const GMatchInfo* match, GString* result, void* self)
{
    auto& hider = *static_cast<AksvHider*>(self);
    std::string text;
    if (const auto digits = PartOf(match, "digits")) {
        text = hider.HideDigits(*digits);
    } else {
        text = PartOf(match, "name").value_or("") + hider.HideMember(PartOf(match, "value").value_or(""));
    }
    g_string_append_len(result, text.data(), static_cast<gssize>(text.size()));
    return FALSE;  // go on
}

std::string AksvHider::HideIn(const std::string& text)
{
    if (Keeps()) return text;
    GError* failure = nullptr;
    const srcwatch::Handle<char, g_free> hidden(
        g_regex_replace_eval(m_pattern.get(), text.data(), static_cast<gssize>(text.size()), 0,
                             static_cast<GRegexMatchFlags>(0), Replace, this, &failure));
    const srcwatch::Handle<GError, g_error_free> error(failure);
    if (!hidden) throw Failure(std::string("cannot look for AKSVs: ") + error->message);
    return hidden.get();
}

std::string AksvHider::HideValue(const std::string& name, const std::string& value)
{
    if (name == "aksv") return HideMember(value);
    const std::optional<Bytes> bytes = name == "hex" ? srcwatch::FromHex(value) : std::nullopt;
    if (!bytes) return HideIn(value);
    const std::string hidden = HideIn({bytes->begin(), bytes->end()});
    return srcwatch::ToHex({hidden.begin(), hidden.end()});
}

void AksvHider::HideInEntry(Json::Value& entry)
{
    if (Keeps()) return;
    for (auto it = entry.begin(); it != entry.end(); ++it) {
        if (it->isString()) {
            *it = HideValue(it.name(), it->asString());
        } else {
            HideInEntry(*it);
        }
    }
}

}  // namespace ctl
