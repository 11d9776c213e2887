/* SPDX-License-Identifier: Apache-2.0 */
/* A TV service of another version: there is a virtual function before the one that the library calls. */
#ifndef PLANTED_TVSERVICEAPI_H
#define PLANTED_TVSERVICEAPI_H
enum EProfile { PROFILE_TYPE_MAIN = 1 };
class ISourceControl {
public:
    virtual ~ISourceControl() {}
    virtual int CountSources() { return 8; }
    virtual int IsExternalSourceConnected(int source_id, bool* connected) = 0;
};
class TVServiceAPI {
public:
    static int CreateSourceControl(EProfile profile, int index, ISourceControl** control);
};
#endif
