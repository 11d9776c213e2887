/* SPDX-License-Identifier: Apache-2.0 */
/* The TV service's source control, as far as the library uses it. */
#ifndef SRCWATCH_PLATFORM_TVSERVICEAPI_H
#define SRCWATCH_PLATFORM_TVSERVICEAPI_H

/** Which part of the TV a control belongs to. */
enum EProfile { PROFILE_TYPE_MAIN = 1 };

/** Control of the TV's input sources. */
class __attribute__((visibility("default"))) ISourceControl {
public:
    virtual ~ISourceControl() {}

    /**
     * Finds out whether a cable is connected to an external source.
     *
     * @param source_id  Source identifier of the TV service (HDMI 1 is 13).
     * @param connected  Receives the answer; may be left untouched on failure.
     * @return At least 1 on success, 0 or less on failure.
     */
    virtual int IsExternalSourceConnected(int source_id, bool* connected) = 0;
};

/** Entry point of the TV service library. */
class __attribute__((visibility("default"))) TVServiceAPI {
public:
    /**
     * Finds the source control of a profile.
     *
     * @param profile  The part of the TV; the library asks for that of value 1.
     * @param index    Number of the control in that part; the library asks for 0.
     * @param control  Receives the control, which stays the TV service's own.
     * @return 0 on success; another value on failure.
     */
    static int CreateSourceControl(EProfile profile, int index, ISourceControl** control);
};

#endif
