// SPDX-License-Identifier: Apache-2.0
//
// The reference detection service: what happens on the inputs becomes records, settings and events; what applications
// command and ask is done and answered.
#ifndef SRCWATCH_SERVICE_SERVICE_H
#define SRCWATCH_SERVICE_SERVICE_H

#include "Glib.h"
#include "Inputs.h"
#include "Profiles.h"
#include "QDInfoEventManager.h"
#include "Records.h"
#include "Scan.h"
#include "Statistics.h"

#include <memory>
#include <set>
#include <string>
#include <vector>

namespace srcwatch {

struct Options {
    std::string inputs;
    std::vector<std::string> profiles;
    unsigned scanStepMilliseconds = 400;
    unsigned quietMilliseconds = 100;
};

/// One per process: it is the library's server part and owns the channel's bus name.
class Service : private InputsListener, private ScanHost {
public:
    explicit Service(Options options);
    ~Service() override;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /// Serve until told to end. @return What went wrong, or empty after an end that was asked for.
    std::string Run();

    /// Whether the end was that another service took over.
    bool WasTakenOver() const { return m_TakenOver; }

private:
    // Start and end
    std::string Prepare();
    void LoadProfiles();
    std::string ConnectToBus();
    void OwnName();
    void WatchSettings();
    void Begin();
    void CheckOwnership();
    void HandleOwner(const std::string& owner);
    void End(const std::string& failure);
    void WithdrawStates();

    // Inputs
    void OnPlugged(int port) override;
    void OnUnplugged(int port) override;
    void OnSettled(int port) override;
    void OnInputsLost() override;
    void ClearUnplugged();
    void SetDetecting(int port, bool detecting);
    void ShowDetecting();

    // Detection
    enum class Cause { kDevice, kCommand };
    void Detect(int port, Cause cause);
    Record MakeRecord(int port, const Classification& device) const;
    void AddStatistics(int port, const Classification& device);
    void AnnounceDetected(int port, const Record& record);
    void AnnounceConnection(int port, bool connected);

    // Commands
    void HandleCommand(int command);
    void HandleOpticalScan();
    void StopOpticalScan();
    void EndOpticalScan();
    void HandleMbrDownloadFinished();
    void StartTwc(int port);
    void EndTwc(int port);
    void HandleTunedChannel();

    // First-setup scan
    void BeginScan() override;
    bool ScanPort(int port) override;
    void ShowProgress(int value, int percent, int port) override;
    void AnnounceScanEnd(int result, int devicesFound) override;

    // Requests
    using Answer = Json::Value (Service::*)(int port);
    template <Answer kAnswer>
    static void AnswerWith(void* self, srcwatch_event_s* event)
    {
        static_cast<Service*>(self)->Reply(event, kAnswer);
    }
    void Reply(srcwatch_event_s* event, Answer answer);
    Json::Value AnswerStatus(int port);
    Json::Value AnswerRecord(int port);
    Json::Value AnswerForget(int port);
    Json::Value AnswerDeny(int port);
    bool IsPort(int port) const;
    std::vector<int> Ports() const;

    const Options m_Options;
    const int m_HdmiCount;
    Profiles m_Profiles;
    Records m_Records;
    Inputs m_Inputs;
    Scan m_Scan;
    Timer m_OpticalScan;
    Timer m_NameDeadline;
    int m_TwcPort = -1;
    std::set<int> m_Detecting;           // ports with a device whose detection is still to come
    std::vector<gint64> m_DetectedFrom;  // microseconds at which the detection of a port began; the last: optical
    bool m_Begun = false;
    bool m_TakenOver = false;
    std::string m_Failure;

    GObjectPtr<GDBusConnection> m_Bus;
    std::vector<unsigned> m_Watches;
    std::unique_ptr<qdinfo::CQDEventSender> m_Sender;
    std::unique_ptr<qdinfo::CQDEventReciever> m_Receiver;
    std::unique_ptr<GMainLoop, void (*)(GMainLoop*)> m_Loop;
};

}  // namespace srcwatch

#endif
