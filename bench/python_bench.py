# SPDX-License-Identifier: Apache-2.0
"""A text query from Python and the same from C, by turns in one process: python_bench.py C_CALLS.so ROUNDS CALLS

Prints the processor time of a call in nanoseconds, as JSON: {"Python": [ROUND...], "C": [ROUND...]}.
"""
import ctypes
import json
import sys
import time

import srcwatch

RECORD = {"PortNum": 0, "DevType": 3, "DevName": "BDQ-900", "BName": "Quellon", "CECName": "Recorder 1"}


def main():
    calls_of_c = ctypes.CDLL(sys.argv[1])
    rounds, calls = int(sys.argv[2]), int(sys.argv[3])
    settings = ctypes.CDLL("libsrcwatch-host-platform.so.0")  # which the library has loaded
    document = json.dumps({"activity": [RECORD]}).encode()
    if settings.vconf_set_str(b"db/srcwatch-service/source-activity", document) or srcwatch.cec_name(0) != "Recorder 1":
        sys.exit("python_bench.py: the record cannot be stored")

    times = {"Python": [], "C": []}
    for _ in range(rounds):
        started = time.process_time_ns()
        for _ in range(calls):
            srcwatch.cec_name(0)
        times["Python"].append((time.process_time_ns() - started) / calls)
        started = time.process_time_ns()
        if calls_of_c.QueryRepeatedly(calls):
            sys.exit("python_bench.py: a query failed")
        times["C"].append((time.process_time_ns() - started) / calls)
    print(json.dumps(times))


main()
