// SPDX-License-Identifier: Apache-2.0
// Every text of the page, for translation. What devices, service and log say is shown as it comes.

const number = new Intl.NumberFormat("en", { maximumSignificantDigits: 3 });

export const milliseconds = (value) => `${number.format(value)} ms`;

export const bytes = (value) =>
    value < 1024
        ? `${value} bytes`
        : value < 1048576
          ? `${number.format(value / 1024)} KiB`
          : `${number.format(value / 1048576)} MiB`;

export const texts = {
    title: "Inputs panel",
    skip: "Skip to the inputs",
    report: "Download a report",
    filter: "Filter",
    yes: "on",
    no: "off",
    running: "running",
    idle: "idle",
    unnamed: "Unnamed device",
    unreachable: "the panel does not answer",
    chips: {
        panel: "Panel",
        bus: "Bus",
        service: "Service",
        there: "connected",
        disconnected: "disconnected",
        notRunning: "not running",
        readOnly: "Read-only",
        version: (version) => `srcwatch ${version}`,
    },
    banner: {
        panel: "The connection to the panel is lost. Trying again…",
        bus: "The message bus is disconnected. The page shows the last known state.",
        service: "The detection service is not running. The page shows the last known state.",
    },

    tv: "Back of the TV",
    portStates: { empty: "Empty", plugged: "plugged", reading: "reading…", detected: "detected" },
    detectedIn: (value) => `detected in ${milliseconds(value)}`,
    unplug: (label) => `Unplug ${label}`,
    move: (name, label) => `Move ${name} from ${label}`,
    carryHint: "Drag a device to an input. Or touch it, then the input; or Enter, arrow keys, Enter.",
    pickedUp: (name) =>
        `${name} picked up. Choose an input with the arrow keys, Enter plugs it in, Escape puts it back.`,
    aimedAt: (label) => label,
    putBack: (name) => `${name} put back`,
    dropped: (name, label) => `${name} plugged into ${label}`,
    nowEmpty: (label) => `${label}: empty`,
    nowDetected: (label, type, name, value) =>
        [`${label}: ${type}`, name, value === null ? "" : milliseconds(value)].filter(Boolean).join(", "),

    captures: "Captures",
    filterCaptures: "Filter the captures",
    invalidCapture: "not a valid capture",

    port: (label) => label,
    noPort: "No input chosen",
    deny: "Deny",
    forget: "Forget",
    startTwc: "Start TWC check",
    endTwc: "End TWC check",
    downloadCapture: "Download capture",
    verdict: "How it was identified",
    record: "Record",
    noRecord: "Nothing is stored for this input.",
    history: "History",
    noHistory: "Nothing has been detected here.",
    took: (type, value) => (typeof value === "number" ? `${type}, ${milliseconds(value)}` : type),
    historyColumns: ["Type", "Name", "Method", "Took"],
    evidence: "Evidence",
    noEvidence: "Nothing is plugged in.",
    behind: "Behind the device",
    usable: "usable",
    refused: "refused",
    deciders: "Profile or rule",
    profile: (entry, file) => `Profile ${entry} of ${file}`,
    noProfile: "No profile matches",
    decides: "decides",
    type: "Type",
    answers: "Answers",
    untouched: "(untouched)",
    answerResult: (result) => `returns ${result}`,
    byMethod: (method) => `by ${method}`,

    events: "Events",
    noEvents: "None yet.",
    eventType: (type) => `type ${type}`,

    controls: "Scans and features",
    scan: "First-setup scan",
    scanRuns: (stage, percent, label) =>
        [stage, `${percent} %`, label ? `at ${label}` : ""].filter(Boolean).join(" · "),
    scanFound: (stage, found) => (typeof found === "number" ? `${stage} · ${found} found` : stage),
    commands: { start: "Start", stop: "Stop", resume: "Resume", play: "Play", pause: "Pause" },
    opticalScan: "Optical scan",
    twc: "TWC check",
    twcStatus: (status, label) => [status, label].filter(Boolean).join(" · "),
    featuresTitle: "Features",
    features: {
        hotplug_enabled: "Hotplug",
        hotplug_running: "Hotplug running",
        mvpd_enabled: "MVPD detection",
        notification_running: "Notification running",
        no_device: "No device plugged",
    },

    statistics: "Statistics",
    statisticsTypes: "Types",
    statisticsMethods: "Methods",
    statisticsTimes: "Time to result",
    upTo: (value) => `≤ ${milliseconds(value)}`,
    total: (count) => (count === 1 ? "1 detection" : `${count} detections`),

    compose: "Compose a device",
    fields: {
        vendor: "Vendor (SPD)",
        product: "Product (SPD)",
        source_information: "Source information (SPD code)",
        osd: "OSD name (HDMI-CEC)",
        device_type: "Device type (HDMI-CEC)",
        aksv: "AKSV (hexadecimal)",
    },
    wouldBe: "It would be",
    plugInto: "Plug into",
    plug: "Plug",
    notAKey: "10 hexadecimal digits",

    profiles: "Profiles",
    profilesText: "Text of the profiles",
    profilesUnchanged: "No capture changes.",
    profilesLoad: "Load again",
    before: "before",
    after: "after",

    recordings: "Recordings",
    startRecording: "Record",
    stopRecording: "Stop recording",
    recordingNow: (name) => `Recording ${name}`,
    noRecordings: "None yet.",
    bytes,
    download: (name) => `Download ${name}`,
    downloadShort: "Download",
    showTimeline: (name) => `Time line of ${name}`,
    timeline: "Time line",
    play: "Play",
    pause: "Pause",
    stop: "Stop",
    speed: "Speed",
    speedOf: (speed) => `${speed}×`,
    position: "Position",
    seconds: (at, length) => `${at.toFixed(1)} s of ${length.toFixed(1)} s`,
    playerState: { stopped: "stopped", playing: "playing", paused: "paused" },

    log: "Log",
    filterLog: "Filter the log",
    priority: "Priority",
    allPriorities: "All priorities",
    priorities: { E: "Errors", W: "Warnings", I: "Information", D: "Debugging" },
};
