// SPDX-License-Identifier: Apache-2.0
//
// The settings keys, source identifiers and words of the event channel that the library itself uses, as literals.
// Unlike the constants of QDInfoCommon.h, which have the same values, they exist while the library is being loaded, and
// until the process is gone, when its threads and exit handlers may still call.
#ifndef SRCWATCH_QDINFONAMES_H
#define SRCWATCH_QDINFONAMES_H

namespace qdinfo {

constexpr char kSourceActivityKey[] = "db/srcwatch-service/source-activity";
constexpr char kOpticalActivityKey[] = "db/srcwatch-service/optical-source-activity";
constexpr char kActivityIndexKey[] = "memory/srcwatch-service/source-activity-index";
constexpr char kScanProgressKey[] = "memory/srcwatch-service/scan_progress";  // receives the scan commands
constexpr char kScanResultKey[] = "memory/srcwatch-service/scan_result";      // holds the scan's progress
constexpr char kMvpdSupportKey[] = "memory/srcwatch-service/mvpd_auto_detect_support";
constexpr char kHotplugSupportKey[] = "memory/srcwatch-service/hp_auto_detect_support";
constexpr char kHotplugProgressKey[] = "memory/srcwatch-service/hotplug_progress";
constexpr char kTwcSequenceKey[] = "memory/srcwatch-service/twc_seq_id";
constexpr char kTwcFrameCountKey[] = "memory/srcwatch-service/twc_frame_count";
constexpr char kTwcStatusKey[] = "memory/srcwatch-service/twc_status_internal";
constexpr char kStatisticsKey[] = "db/srcwatch-service/spd_aksv_1";

/// The TV service's source identifiers of HDMI 1 to HDMI 8.
constexpr int HDMI_SOURCE_IDS[] = {13, 14, 15, 16, 38, 39, 46, 47};

constexpr char kChannelName[] = "qdinfo";
constexpr char kFieldSeparator[] = "\t";   // ends each item of a message
constexpr char kEmptyField[] = "UNKNOWN";  // stands for an empty text in a message

}  // namespace qdinfo

#endif
