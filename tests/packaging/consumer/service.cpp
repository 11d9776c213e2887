// SPDX-License-Identifier: Apache-2.0
//
// A detection service as its developer writes it. Stores a record, and holds that there is one store in the process,
// whether this program reaches it through the library's functions or through the singleton template of the header.
#include <cstdio>

#include <QDInfoAPI.h>
#include <QDInfoCommon.h>
#include <QDInfoEventManager.h>
#include <QDInfoServerData.h>
#include <QDInfoSettingUtil.h>

namespace {

bool Check(bool condition, const char* what)
{
    if (!condition) std::fprintf(stderr, "not so: %s\n", what);
    return condition;
}

bool SharesTheStore()
{
    using Singleton = qdinfo::CSingleton<qdinfo::CQDInfoServerData>;
    qdinfo::CQDInfoData* const ours = Singleton::GetInstance();
    if (!Check(ours == qdinfo::CQDInfoAPI::GetQDInfoUtil(), "the program and the library have one store")) return false;
    return Check(dynamic_cast<Singleton*>(ours) != nullptr, "the program and the library have one type of it");
}

}  // namespace

int main()
{
    static_cast<void>(qdinfo::CQDInfoAPI::Create(true));  // false where nothing was stored yet
    if (!SharesTheStore()) return 1;

    qdinfo::CQDInfoData& store = *qdinfo::CQDInfoAPI::GetQDInfoUtil();
    store.CreateAndAddNewActivity();
    store.SetCECName("Living room box", 1);
    srcwatch_set_source_info(1, 0);
    CQDInfoSettingUtil::SetQDInfoActivityIndex(5);
    if (!Check(CQDInfoSettingUtil::GetQDInfoActivityIndex() == 5, "settings are kept")) return 1;

    qdinfo::CQDEventSender sender("qdinfo");
    sender.AppendArgs(1, 2, 3, 4);
    if (!Check(sender.IsServiceAvailable() == 0, "no service is there without a bus")) return 1;

    qdinfo::CQDInfoAPI::Destroy();
    return 0;
}
