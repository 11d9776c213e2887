// SPDX-License-Identifier: Apache-2.0
//
// The settings that tie source detection to the set-up of the TV's multi-brand remote (MBR).
#ifndef SRCWATCH_QDINFOSETTINGUTIL_H
#define SRCWATCH_QDINFOSETTINGUTIL_H

#include "srcwatch-api.h"

#include <string>

/**
 * Reads and writes the MBR settings. Every member goes straight to the settings store; failed writes are silent.
 * Callable from any thread; the writes of one call are not atomic together.
 */
class SRCWATCH_API CQDInfoSettingUtil {
public:
    /// @return The current activity index, or -2 when it cannot be read.
    static int GetQDInfoActivityIndex();
    static void SetQDInfoActivityIndex(int index);

    /// @return The MBR mode, or -1 when it cannot be read.
    static int GetQDInfoMode();
    static void SetQDInfoMode(int mode);

    /// Kept for old callers. @return Always 0.
    static int GetQDInfoState();
    /// Kept for old callers; does nothing.
    static void SetQDInfoState(int state);

    /// Reads the activate data; an output that cannot be read stays as it is. @return Always true.
    static bool GetQDInfoActivateData(int& stateFrom, std::string& headendId, std::string& deviceType,
                                      std::string& providerName);
    static void SetQDInfoActivateData(int stateFrom, const std::string& headendId, const std::string& deviceType,
                                      const std::string& providerName);
};

#endif
