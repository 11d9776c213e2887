// SPDX-License-Identifier: Apache-2.0
#include "KeptText.h"

#include <vconf.h>

namespace srcwatch {

ReadResult KeptText::Load()
{
    if (m_settings.IsPending(m_saving)) return ReadResult::kRead;
    const ReadResult result = ReadText(m_key, m_text);
    if (result != ReadResult::kFailed) m_settings.Keep(m_saving, [this] { return TrySave(); });
    return result;
}

void KeptText::Save(std::string text)
{
    m_text = std::move(text);
    m_settings.Write(m_saving, [this] { return TrySave(); });
}

bool KeptText::TrySave() const { return m_text.empty() || vconf_set_str(m_key.c_str(), m_text.c_str()) == 0; }

}  // namespace srcwatch
