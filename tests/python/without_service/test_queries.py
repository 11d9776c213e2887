# SPDX-License-Identifier: Apache-2.0
import json
from collections.abc import Callable

import pytest
import srcwatch
from srcwatch.testing import ACTIVITY_KEY, Tv

TEXT_QUERIES: list[tuple[Callable[[int], str], str]] = [
    (srcwatch.cec_name, "CECName"), (srcwatch.model_name, "ModelName"), (srcwatch.manufacturer_name, "MFName"),
    (srcwatch.codeset_name, "CName"), (srcwatch.provider_name, "PRName"), (srcwatch.cec_device_name, "CDevName"),
    (srcwatch.aksv, "AKSV")]
NUMBER_QUERIES: list[tuple[Callable[[int], int], str]] = [
    (srcwatch.device_type, "DevType"), (srcwatch.deny_count, "DenyCount"), (srcwatch.detection_method, "DMethod"),
    (srcwatch.scan_state, "ScanState")]


@pytest.mark.parametrize("query, member", TEXT_QUERIES)
@pytest.mark.parametrize("port", [0, 3, srcwatch.OPTICAL_PORT])
def test_each_text_query_returns_its_member(tv: Tv, query: Callable[[int], str], member: str, port: int) -> None:
    tv.store_record(port, **{member: "Fernseher für Zoë"})

    assert query(port) == "Fernseher für Zoë"


@pytest.mark.parametrize("query, member", NUMBER_QUERIES)
def test_each_number_query_returns_its_member(tv: Tv, query: Callable[[int], int], member: str) -> None:
    tv.store_record(1, **{member: 2})

    assert query(1) == 2


def test_texts_of_the_result_are_those_of_the_type(tv: Tv) -> None:
    tv.store_record(0, DevType=3, DevName="BDQ-900", BName="Quellon", PRName="another")

    assert (srcwatch.result_text_1(0), srcwatch.result_text_2(0)) == ("BDQ-900", "Quellon")


def test_text_of_100_bytes_is_whole_and_a_longer_one_is_cut_within_a_character(tv: Tv) -> None:
    tv.store_record(0, CECName="x" * 100)
    assert srcwatch.cec_name(0) == "x" * 100

    tv.store_record(0, CECName="x" * 99 + "ü")
    assert srcwatch.cec_name(0) == "x" * 99 + "\ufffd"


def test_codeset_of_10_bytes_is_whole(tv: Tv) -> None:
    tv.store_record(0, DevType=3, DevName="BDQ-900", CName="0123456789 and more")

    assert srcwatch.codeset(0) == "0123456789"


def test_a_device_without_a_name_has_no_codeset(tv: Tv) -> None:
    tv.store_record(0, DevType=3)

    with pytest.raises(srcwatch.NoCodesetError, match="no codeset is known for the device on port 0"):
        srcwatch.codeset(0)


@pytest.mark.parametrize("query", [
    *(query for query, _ in TEXT_QUERIES), *(query for query, _ in NUMBER_QUERIES), srcwatch.codeset, srcwatch.change,
    srcwatch.device, srcwatch.result_text_1, srcwatch.result_text_2])
def test_every_query_refuses_what_is_not_a_port(query: Callable[[int], object]) -> None:
    for port in (-1, 8, 98, 100):
        with pytest.raises(srcwatch.NotAPortError, match=f"not a port: {port}"):
            query(port)


@pytest.mark.parametrize("query, member", [*TEXT_QUERIES, *NUMBER_QUERIES])
def test_a_member_of_the_wrong_kind_is_an_error(tv: Tv, query: Callable[[int], object], member: str) -> None:
    tv.store_setting(ACTIVITY_KEY, json.dumps({"activity": [{member: {}}]}))

    with pytest.raises(srcwatch.UnreadableError, match="the stored record of port 0 cannot be read"):
        query(0)


def test_errors_have_one_base() -> None:
    for error in (srcwatch.NotAPortError, srcwatch.UnreadableError, srcwatch.NoCodesetError, srcwatch.NoProgressError,
                  srcwatch.UnknownInputsError, srcwatch.AlreadySubscribedError):
        assert issubclass(error, srcwatch.Error)


def test_change_has_the_port_before(tv: Tv) -> None:
    tv.store_record(0, Changed=2, PrevPort=3)

    assert srcwatch.change(0) == srcwatch.Change(changed=True, previous_port=3)


def test_device_is_what_is_to_be_shown(tv: Tv) -> None:
    tv.store_record(1, DevType=3, DevName="BDQ-900", BName="Quellon")

    assert srcwatch.device(1) == srcwatch.Device(1, srcwatch.DeviceType.DISC_PLAYER, "BDQ-900", "Quellon")
    assert srcwatch.device(1).is_present


def test_a_port_without_a_device_has_one_of_no_type() -> None:
    assert srcwatch.device(2) == srcwatch.Device(2, srcwatch.DeviceType.NONE, "", "")
    assert not srcwatch.device(2).is_present


def test_devices_are_those_that_are_there(tv: Tv) -> None:
    tv.store_record(2, DevType=9, DevName="Desk 5")
    tv.store_record(0, DevType=1)
    tv.store_record(srcwatch.OPTICAL_PORT, DevType=4, DevName="Arena")

    shown = [(device.port, device.name) for device in srcwatch.devices()]
    assert shown == [(0, "Unknown"), (2, "Desk 5"), (99, "Arena")]


def test_hdmi_inputs_are_counted() -> None:
    assert srcwatch.hdmi_count() == 4


def test_types_and_states_read_as_words() -> None:
    assert [str(device_type) for device_type in srcwatch.DeviceType] == [
        "none", "set-top box", "disc player", "home theatre", "streaming box", "game console", "other", "not supported",
        "PC"]
    assert f"{srcwatch.ScanState.NOT_SCANNED}, {srcwatch.ScanStage.FINAL_STAGE}" == "not scanned, final stage"


def test_a_type_that_only_a_later_service_knows_is_kept(tv: Tv) -> None:
    tv.store_record(0, DevType=12)

    assert srcwatch.device_type(0) == 12
    assert str(srcwatch.device(0).type) == "unknown 12"


def test_features_are_those_of_the_settings(tv: Tv) -> None:
    assert srcwatch.features() == srcwatch.Features(False, False, False, False, True)

    tv.store_setting("memory/srcwatch-service/hp_auto_detect_support", 1)
    assert srcwatch.features() == srcwatch.Features(True, False, False, False, True)

    tv.store_setting("memory/srcwatch-service/hotplug_progress", 1)
    assert srcwatch.features().hotplug_running

    tv.store_setting("memory/srcwatch-service/mvpd_auto_detect_support", 1)
    assert srcwatch.features().mvpd_enabled


def test_commands_of_a_scan_reach_the_service(tv: Tv) -> None:
    command = "memory/srcwatch-service/scan_progress"
    tv.store_setting(command, 0)

    scan = srcwatch.scan()
    assert tv.setting(command) == 2001
    scan.stop()
    assert tv.setting(command) == 2002
    scan.resume()
    assert tv.setting(command) == 2003


@pytest.mark.parametrize("result, progress", [
    (145, srcwatch.ScanProgress(srcwatch.ScanStage.RUNNING, 45)),
    (-1, srcwatch.ScanProgress(srcwatch.ScanStage.STOPPED, 0)),
    (-2, srcwatch.ScanProgress(srcwatch.ScanStage.FAILED, 0)),
    (-3, srcwatch.ScanProgress(srcwatch.ScanStage.NOTHING_FOUND, 0)),
])
def test_progress_of_a_scan_is_read(tv: Tv, result: int, progress: srcwatch.ScanProgress) -> None:
    tv.store_setting("memory/srcwatch-service/scan_result", result)

    assert srcwatch.Scan().progress() == progress


def test_progress_without_a_meaning_is_an_error(tv: Tv) -> None:
    tv.store_setting("memory/srcwatch-service/scan_result", 77777)

    with pytest.raises(srcwatch.NoProgressError):
        srcwatch.Scan().progress()
