// SPDX-License-Identifier: Apache-2.0
bool IsPort(int port)
{
    if (port < 0) return false;
    if (port > 7) {
        return false;
    }
    return true;
}
