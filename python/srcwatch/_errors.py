# SPDX-License-Identifier: Apache-2.0
"""Why there is no answer, as exceptions."""
from ._srcwatch import lib


class Error(Exception):
    """Base of all errors of this package."""


class UnreadableError(Error):
    """The stored record, or its member, is of the wrong kind."""


class NotAPortError(Error, ValueError):
    """The port is not 0 to 7 or OPTICAL_PORT."""


class NoCodesetError(Error, LookupError):
    """No codeset is known for the device."""


class NoProgressError(Error):
    """The progress of the scan cannot be read, or has no meaning."""


class UnknownInputsError(Error):
    """The number of HDMI inputs is not known."""


class AlreadySubscribedError(Error):
    """The process has a subscription, or other code of it the callback for events."""


def error_of(result: int, port: int) -> Error:
    """The exception for a result of a query that is not SRCWATCH_OK."""
    if result == lib.SRCWATCH_ERROR_JSON:
        return UnreadableError(f"the stored record of port {port} cannot be read")
    if result == lib.SRCWATCH_ERROR_PORT:
        return NotAPortError(f"not a port: {port}")
    if result == lib.SRCWATCH_NO_CODESET:
        return NoCodesetError(f"no codeset is known for the device on port {port}")
    return Error(f"error {result}")
