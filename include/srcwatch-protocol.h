/* SPDX-License-Identifier: Apache-2.0 */
/**
 * @file
 * The contract between the detection service and its clients beyond the library's functions: names, command codes, the
 * values in records and events, and the requests that srcwatch-service answers. C11 and C++.
 *
 * A request is a method call on the channel "qdinfo" (CQDEventSender::Call) with one of the types below. The reply is
 * one JSON object as text. A request that fails is answered {"error": TEXT}, and changes nothing.
 *
 * Requests about a port take its index in args[0]: 0 to the number of HDMI inputs - 1, or 99.
 */
#ifndef SRCWATCH_PROTOCOL_H
#define SRCWATCH_PROTOCOL_H

/** The service's name on the bus, which is also that of its interface. */
#define SRCWATCH_BUS_NAME "org.nalto.tv.qdinfo"

/** Setting with the devices that no profile matched: {"devices": [{"port": PORT, "spd", "cec", "aksv": TEXT}...]}. */
#define SRCWATCH_UNKNOWN_DEVICES_KEY "db/srcwatch-service/unknown_devices"

/** Names of the inputs in the inputs directory: the first is followed by the number, 1 for port 0. */
#define SRCWATCH_INPUT_HDMI "hdmi"
#define SRCWATCH_INPUT_OPTICAL "optical" /**< port 99 */

/** Commands to the service, as the library's functions write them to "memory/srcwatch-service/scan_progress". */
enum srcwatch_scan_command {
    SCAN_COMMAND_OOBE_START = 2001,
    SCAN_COMMAND_OOBE_STOP = 2002,
    SCAN_COMMAND_OOBE_RESUME = 2003,
    SCAN_COMMAND_TWC_CHECK_START = 2010, /**< plus the port, 0 to 7 */
    SCAN_COMMAND_TWC_CHECK_END = 2020,   /**< plus the port, 0 to 7 */
    SCAN_COMMAND_MBR_DOWNLOAD_FINISHED = 3001,
    SCAN_COMMAND_OPTICAL_START = 5001,
    SCAN_COMMAND_OPTICAL_STOP = 5002
};

/**
 * Values of a record's "DMethod": how the device was detected. They are also the priority in the statistics, where a
 * smaller number is better evidence.
 */
enum srcwatch_detection_method {
    SRCWATCH_METHOD_NONE = 0,    /**< no device, or not detected yet */
    SRCWATCH_METHOD_PROFILE = 1, /**< a profile matched */
    SRCWATCH_METHOD_SPD = 2,     /**< the source information of the SPD InfoFrame (CTA-861) */
    SRCWATCH_METHOD_CEC = 3,     /**< the primary device type of HDMI-CEC */
    SRCWATCH_METHOD_AKSV = 4,    /**< nothing but a valid AKSV (HDCP) */
    SRCWATCH_METHOD_SILENT = 5,  /**< the evidence does not include the type */
    SRCWATCH_METHOD_FAULTY = 6   /**< every item of evidence is faulty */
};

/** Types of requests. */
enum srcwatch_request {
    /**
     * Reads the state of the service: {"version": TEXT, "inputs": NUMBER, "plugged": [PORT...], "profiles": NUMBER,
     * "scan": {"state": "idle" | "running" | "stopped", "percent": NUMBER, "found": NUMBER},
     * "twc": {"port": NUMBER, -1 when no check runs},
     * "unsaved": NUMBER of accesses to the settings store that failed and are repeated,
     * "hears_commands": false, on a platform that does not report writes of settings; absent on others}
     */
    SRCWATCH_REQUEST_STATUS = 0x2001,

    /** Reads a port's record: {"port": PORT, "plugged": BOOLEAN, "record": OBJECT}; record as stored, null without one.
     */
    SRCWATCH_REQUEST_RECORD = 0x2002,

    /**
     * Clears a port's record except its deny count, saves and announces it. A device that stays plugged is detected
     * again when it changes, is plugged again or is scanned. Answered like SRCWATCH_REQUEST_RECORD.
     */
    SRCWATCH_REQUEST_FORGET = 0x2003,

    /** Counts that the user denied what was detected on a port. Answered like SRCWATCH_REQUEST_RECORD. */
    SRCWATCH_REQUEST_DENY = 0x2004,

    /** Reads where the service has its profiles from, the first first: {"paths": [TEXT...]}, absolute. */
    SRCWATCH_REQUEST_PROFILES = 0x2005,

    /**
     * Reads what the device on a port says about itself, as the files of a capture: {"port": PORT, "spd", "aksv": TEXT
     * in hexadecimal digits, "cec": TEXT, one message a line}; each empty without.
     */
    SRCWATCH_REQUEST_CAPTURE = 0x2006
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

/** Values of srcwatch_is_TWC() while a check runs; -1 otherwise. */
enum srcwatch_twc_status {
    SRCWATCH_TWC_NO_SET_TOP_BOX = 0, /**< the port has no set-top box: there is nothing to check */
    SRCWATCH_TWC_WAITING = 1,        /**< waiting for a tuned channel */
    SRCWATCH_TWC_TUNED = 2           /**< a channel with at least one frame was reported */
};

#endif
