// SPDX-License-Identifier: Apache-2.0
//
// Who may ask: those who have the token, from pages of this server. It knows no connection and no clock.
#ifndef SRCWATCH_PANEL_ACCESS_H
#define SRCWATCH_PANEL_ACCESS_H

#include "Http.h"

#include <string>
#include <vector>

namespace panel {

/// Returns a new token.
std::string MakeToken();

/// Returns true if a text can be a token: 16 to 128 letters, digits, '-' and '_'.
bool IsTokenText(const std::string& text);

class Access {
public:
    /// @param authorities  Under which the server is reached, as in "127.0.0.1:8080".
    Access(std::string token, std::vector<std::string> authorities);

    /// Returns true if a request is one for this server and from one of its own pages. A browser that was made to take
    /// the server for another one by its name (DNS rebinding) sends that name.
    bool IsOwn(const Request& request) const;

    /// Returns true if a text is the token. The time that it takes says nothing about the token.
    bool IsToken(const std::string& text) const;

    /// Returns true if a request has the cookie that SetCookie() asks for.
    bool HasCookie(const Request& request) const;

    /// Returns the value of the header Set-Cookie.
    std::string SetCookie() const;

private:
    const std::string m_token;
    const std::vector<std::string> m_authorities;
};

/// Limits how often something is done: so many times at once, and so many per second later.
class RateLimit {
public:
    RateLimit(double atOnce, double perSecond) : m_atOnce(atOnce), m_perSecond(perSecond), m_left(atOnce) {}

    /// Returns true if it may be done now. @param seconds  Of a clock that is never set.
    bool Take(double seconds);

private:
    const double m_atOnce;
    const double m_perSecond;
    double m_left;
    double m_last = 0;
};

}  // namespace panel

#endif
