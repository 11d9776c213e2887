// SPDX-License-Identifier: Apache-2.0
//
// A port as a JSON document.
#ifndef SRCWATCH_TOOLS_PORTDOCUMENT_H
#define SRCWATCH_TOOLS_PORTDOCUMENT_H

#include "Output.h"

#include <json/value.h>

namespace ctl {

/// An object with the port, its record as stored, and the state of its input.
Json::Value PortDocument(int port);

/// Write all of a port: its record, and what each function of the library answers about it.
void ShowPort(int port, Output& output);

}  // namespace ctl

#endif
