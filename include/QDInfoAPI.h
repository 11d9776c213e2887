// SPDX-License-Identifier: Apache-2.0
//
// Where the detection service gets the store from.
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
     * Declare the mode, and load the stored records in server mode.
     *
     * @return False in client mode, and when the records could not be loaded: the store is there all the same.
     */
    static bool Create(bool bServerPart);

    /// The store, made on first use in server mode; null in client mode and when there is no memory.
    static CQDInfoData* GetQDInfoUtil();

    /// Give up the store; destroy it in server mode. The mode stays.
    static void Destroy();

private:
    static CQDInfoData* m_pUtil;  // the singleton's object, not owned
    static bool m_bServerPart;
};

}  // namespace qdinfo

#endif
