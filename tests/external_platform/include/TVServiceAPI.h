/* SPDX-License-Identifier: Apache-2.0 */
#ifndef EXAMPLE_TVSERVICEAPI_H
#define EXAMPLE_TVSERVICEAPI_H
enum EProfile { PROFILE_TYPE_MAIN = 1 };
class ISourceControl {
public:
    virtual ~ISourceControl() {}
    virtual int IsExternalSourceConnected(int source_id, bool* connected) = 0;
};
class TVServiceAPI {
public:
    static int CreateSourceControl(EProfile profile, int index, ISourceControl** control);
};
#endif
