// SPDX-License-Identifier: Apache-2.0
//
// AKSVs, each of which names one device, replaced by others that name none. Within one recording a device keeps its
// substitute, and what was a valid AKSV is one still, so documents and inputs are read as before.
#ifndef SRCWATCH_TOOLS_AKSVHIDER_H
#define SRCWATCH_TOOLS_AKSVHIDER_H

#include "Decoded.h"
#include "Handle.h"

#include <set>
#include <string>

#include <glib.h>
#include <json/value.h>

namespace ctl {

class AksvHider {
public:
    enum class Mode { kHides, kKeeps };

    /// The key of the substitutes is random, and nowhere stored.
    explicit AksvHider(Mode mode);

    /// Returns true if AKSVs stay as they are.
    bool Keeps() const { return m_mode == Mode::kKeeps; }

    /// Returns a text, of any form, with substitutes for the AKSVs in it: members "aksv", and ten hexadecimal digits
    /// that are a valid AKSV or one that was seen before. (Ten decimal digits that were not seen are a number.)
    std::string HideIn(const std::string& text);

    /// Puts substitutes into all texts of an entry of a recording.
    void HideInEntry(Json::Value& entry);

private:
    static int Replace(const GMatchInfo* match, GString* result, void* self);
    srcwatch::Bytes Hide(const srcwatch::Bytes& aksv);
    srcwatch::Bytes SubstituteOf(const srcwatch::Bytes& aksv) const;
    std::string HideValue(const std::string& name, const std::string& value);
    std::string HideMember(const std::string& value);
    std::string HideDigits(const std::string& digits);

    const Mode m_mode;
    srcwatch::Bytes m_key;
    std::set<std::string> m_known;  // AKSVs seen, in digits
    srcwatch::Handle<GRegex, g_regex_unref> m_pattern;
};

}  // namespace ctl

#endif
