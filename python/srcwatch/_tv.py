# SPDX-License-Identifier: Apache-2.0
"""Switches and states of the TV, and the first-setup scan."""
import dataclasses

from ._errors import NoProgressError
from ._srcwatch import ffi, lib
from ._values import ScanResult, ScanStage

_STAGES = {
    ScanResult.STOPPED: ScanStage.STOPPED,
    ScanResult.FAILED: ScanStage.FAILED,
    ScanResult.NOTHING_FOUND: ScanStage.NOTHING_FOUND,
}


@dataclasses.dataclass(frozen=True)
class Features:
    """Switches and states of the TV; False also where one cannot be read."""

    hotplug_enabled: bool  # hot-plug detection is switched on
    hotplug_running: bool  # a device is being detected
    mvpd_enabled: bool  # MVPD detection is switched on
    notification_running: bool  # the HDMI notification is on the screen
    no_device: bool  # no HDMI device is, or can be, found


def features() -> Features:
    """Asks for all of them, which is a setting each and, for no_device, the TV service for each input."""
    return Features(
        hotplug_enabled=lib.srcwatch_is_HotPlug_enable(),
        hotplug_running=lib.srcwatch_is_HotPlug_progress(),
        mvpd_enabled=lib.srcwatch_is_MVPD_enable(),
        notification_running=lib.srcwatch_Is_hdmi_notification_running(),
        no_device=lib.srcwatch_is_no_device())


@dataclasses.dataclass(frozen=True)
class ScanProgress:
    """How far the first-setup scan is."""

    stage: ScanStage
    percent: int  # 0 to 90; 0 where a result ended the scan


class Scan:
    """Commands to the service's first-setup scan, and its progress. Whether a service runs is not known."""

    def stop(self) -> None:
        """Stops the scan."""
        lib.srcwatch_oobe_scan_stop()

    def resume(self) -> None:
        """Resumes the scan where it was stopped."""
        lib.srcwatch_oobe_scan_resume()

    def progress(self) -> ScanProgress:
        """How far the scan is, or NoProgressError."""
        percent = ffi.new("int*")
        result = lib.srcwatch_get_oobe_stb_scan_progress(percent)
        if result in (lib.SRCWATCH_PROGRESS_UNREADABLE, lib.SRCWATCH_PROGRESS_UNDEFINED):
            raise NoProgressError("the progress of the scan is not known")
        if result > 0:
            return ScanProgress(ScanStage.FINAL_STAGE, percent[0])
        return ScanProgress(_STAGES.get(ScanResult(result), ScanStage.RUNNING), percent[0])


def scan() -> Scan:
    """Starts the first-setup scan. Its end is the event ScanFinished. A Scan() is the same without starting one."""
    lib.srcwatch_oobe_scan_start()
    return Scan()
