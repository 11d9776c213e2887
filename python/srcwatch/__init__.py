# SPDX-License-Identifier: Apache-2.0
"""What a television knows about the devices at its inputs.

A port is an index: 0 is HDMI 1, OPTICAL_PORT the optical source. Queries accept 0 to 7 and OPTICAL_PORT, whatever
number of inputs the TV has. Each reads the settings store once, unless its description says otherwise, and may be
called from any thread.
"""
from ._errors import (
    AlreadySubscribedError, Error, NoCodesetError, NoProgressError, NotAPortError, UnknownInputsError, UnreadableError)
from ._events import Events, Subscription, events, subscribe
from ._queries import (
    aksv, cec_device_name, cec_name, change, codeset, codeset_name, deny_count, detection_method, device, device_type,
    devices, hdmi_count, manufacturer_name, model_name, provider_name, result_text_1, result_text_2, scan_state)
from ._tv import Features, Scan, ScanProgress, features, scan
from ._values import (
    OPTICAL_PORT, Change, ConnectionChanged, Detected, DetectionMethod, Device, DeviceType, Event, ScanFinished,
    ScanProgressed, ScanResult, ScanStage, ScanState)

__all__ = [
    "OPTICAL_PORT", "AlreadySubscribedError", "Change", "ConnectionChanged", "Detected", "DetectionMethod", "Device",
    "DeviceType", "Error", "Event", "Events", "Features", "NoCodesetError", "NoProgressError", "NotAPortError", "Scan",
    "ScanFinished", "ScanProgress", "ScanProgressed", "ScanResult", "ScanStage", "ScanState", "Subscription",
    "UnknownInputsError", "UnreadableError", "aksv", "cec_device_name", "cec_name", "change", "codeset", "codeset_name",
    "deny_count", "detection_method", "device", "device_type", "devices", "events", "features", "hdmi_count",
    "manufacturer_name", "model_name", "provider_name", "result_text_1", "result_text_2", "scan", "scan_state",
    "subscribe"]
