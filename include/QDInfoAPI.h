// SPDX-License-Identifier: Apache-2.0
//
// The detection service's access to the store.
#ifndef SRCWATCH_QDINFOAPI_H
#define SRCWATCH_QDINFOAPI_H

#include "QDInfoData.h"
#include "srcwatch-api.h"

namespace qdinfo {

/**
 * Declares a process the detection service (server part) or a client, and gives the service its store.
 *
 * The service calls Create(true) once at its start, GetQDInfoUtil() as often as it needs the store, and Destroy() at
 * its end, all from one thread. Applications need none of it.
 */
class SRCWATCH_API CQDInfoAPI {
public:
    /**
     * Declares the mode, and loads the stored records in server mode.
     *
     * @return False in client mode, and if the records could not be loaded; the store exists in that case too.
     */
    static bool Create(bool bServerPart);

    /// Returns the store, which is created at first use in server mode; null in client mode and without memory for it.
    static CQDInfoData* GetQDInfoUtil();

    /// Releases the store, and destroys it in server mode. The mode stays.
    static void Destroy();

private:
    static CQDInfoData* m_pUtil;  // the singleton's object, which is not owned
    static bool m_bServerPart;
};

}  // namespace qdinfo

#endif
