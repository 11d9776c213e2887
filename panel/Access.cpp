// SPDX-License-Identifier: Apache-2.0
#include "Access.h"

#include "Hex.h"

#include <algorithm>
#include <stdexcept>

#include <sys/random.h>

namespace panel {

namespace {

constexpr char kCookieName[] = "srcwatch_panel";
constexpr std::size_t kTokenBytes = 24;

bool IsTokenCharacter(char c)
{
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
}

std::string Lower(std::string text)
{
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

}  // namespace

std::string MakeToken()
{
    srcwatch::Bytes bytes(kTokenBytes);
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("the system has no random bytes for a token");
    }
    return srcwatch::ToHex(bytes);
}

bool IsTokenText(const std::string& text)
{
    return text.size() >= 16 && text.size() <= 128 && std::all_of(text.begin(), text.end(), IsTokenCharacter);
}

Access::Access(std::string token, std::vector<std::string> authorities)
    : m_token(std::move(token)), m_authorities(std::move(authorities))
{
}

bool Access::IsOwn(const Request& request) const
{
    const auto isOurs = [&](const std::string& authority) {
        return std::find(m_authorities.begin(), m_authorities.end(), authority) != m_authorities.end();
    };
    if (!isOurs(Lower(request.host))) return false;
    constexpr char kScheme[] = "http://";
    const std::string origin = Lower(request.origin);
    return origin.empty() || (origin.rfind(kScheme, 0) == 0 && isOurs(origin.substr(sizeof kScheme - 1)));
}

bool Access::IsToken(const std::string& text) const
{
    if (text.size() != m_token.size()) return false;
    unsigned differing = 0;
    for (std::size_t i = 0; i < text.size(); ++i) differing |= static_cast<unsigned char>(text[i] ^ m_token[i]);
    return differing == 0;
}

bool Access::HasCookie(const Request& request) const
{
    const std::string& cookies = request.cookie;
    for (std::size_t at = 0; at < cookies.size();) {
        const std::size_t end = std::min(cookies.find(';', at), cookies.size());
        const std::size_t begin = std::min(cookies.find_first_not_of(' ', at), end);
        const std::size_t equals = cookies.find('=', begin);
        const bool isNamed = equals < end && cookies.compare(begin, equals - begin, kCookieName) == 0;
        if (isNamed && IsToken(cookies.substr(equals + 1, end - equals - 1))) return true;
        at = end + 1;
    }
    return false;
}

std::string Access::SetCookie() const
{
    return std::string(kCookieName) + "=" + m_token + "; Path=/; HttpOnly; SameSite=Strict";
}

bool RateLimit::Take(double seconds)
{
    m_left = std::min(m_atOnce, m_left + std::max(0.0, seconds - m_last) * m_perSecond);
    m_last = seconds;
    if (m_left < 1) return false;
    m_left -= 1;
    return true;
}

}  // namespace panel
