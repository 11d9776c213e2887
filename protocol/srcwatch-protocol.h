/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * What srcwatch-service answers and announces beyond the library's own events.
 *
 * A request is a method call on the channel "qdinfo" (CQDEventSender::Call) with one of the types below. The reply is
 * one JSON object as text. Whatever cannot be done is answered {"error": TEXT}, with nothing changed.
 *
 * Requests about a port take its index in args[0]: 0 to the number of HDMI inputs - 1, or 99.
 */
#ifndef SRCWATCH_PROTOCOL_H
#define SRCWATCH_PROTOCOL_H

/** Types of requests. */
enum srcwatch_request {
    /**
     * How the service is: {"version": TEXT, "inputs": NUMBER, "plugged": [PORT...], "profiles": NUMBER,
     * "scan": {"state": "idle" | "running" | "stopped", "percent": NUMBER, "found": NUMBER},
     * "twc": {"port": NUMBER, -1 when no check runs}}
     */
    SRCWATCH_REQUEST_STATUS = 0x2001,

    /** A port's record: {"port": PORT, "plugged": BOOLEAN, "record": OBJECT}; record as stored, null without one. */
    SRCWATCH_REQUEST_RECORD = 0x2002,

    /**
     * Clear a port's record, all but its deny count, save and announce it. A device that stays plugged is detected
     * again when it changes, is plugged anew or is scanned. Answered like SRCWATCH_REQUEST_RECORD.
     */
    SRCWATCH_REQUEST_FORGET = 0x2003,

    /** Note that the user denied what was detected on a port. Answered like SRCWATCH_REQUEST_RECORD. */
    SRCWATCH_REQUEST_DENY = 0x2004
};

/** Values of a record's "ScanState". */
enum srcwatch_scan_state {
    SRCWATCH_SCAN_NOT_SCANNED = 0, /**< no scan since the device was plugged in */
    SRCWATCH_SCAN_FOUND = 1,       /**< scanned, a device was there */
    SRCWATCH_SCAN_EMPTY = 2        /**< scanned, no device was there */
};

/** Values of a record's "Changed". "PrevPort" is the port of the device's last sighting elsewhere, -1 without one. */
enum srcwatch_changed {
    SRCWATCH_CHANGED_NOT = 0,  /**< the device that was seen last on this port */
    SRCWATCH_CHANGED_NEW = 1,  /**< another device than was seen last on this port */
    SRCWATCH_CHANGED_MOVED = 2 /**< a device that was seen last on another port */
};

/** args[0] of the event SRCWATCH_EVENT_SCAN_FINISHED; the first-setup scan leaves the others in its progress key. */
enum srcwatch_scan_result {
    SRCWATCH_SCAN_DONE = 0,
    SRCWATCH_SCAN_STOPPED = -1,      /**< can be resumed */
    SRCWATCH_SCAN_FAILED = -2,       /**< the number of inputs is not known */
    SRCWATCH_SCAN_NOTHING_FOUND = -3 /**< no input has a device */
};

/** Values that srcwatch_is_TWC() gives while a check runs; -1 otherwise. */
enum srcwatch_twc_status {
    SRCWATCH_TWC_NO_SET_TOP_BOX = 0, /**< the port has no set-top box: there is nothing to check */
    SRCWATCH_TWC_WAITING = 1,        /**< waiting for a tuned channel */
    SRCWATCH_TWC_TUNED = 2           /**< a channel with at least one frame was reported */
};

#endif
