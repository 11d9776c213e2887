// SPDX-License-Identifier: Apache-2.0
//
// The program's own log goes nowhere: the log that it shows would grow by showing it. The library logs while it is
// being loaded, so this is found by its name.
#include "srcwatch-host.h"

__attribute__((visibility("default"))) const char* srcwatch_host_log_sink() { return "none"; }
