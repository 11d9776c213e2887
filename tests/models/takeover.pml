// SPDX-License-Identifier: Apache-2.0
//
// The take-over of the service's bus name, and the switches in the settings store that say whether devices are detected.
// Three services start one after the other, each at any moment; each may pause at any point, and may get SIGTERM at any
// time. When nothing can happen any more,
//
//  - only the owner of the name serves;
//  - the switches are on if one serves, and off if none does.
//
// Each of these definitions takes one rule away from the services; tests/models/run checks that the model is then
// refuted:
//
//  NO_WATCH             a serving service does not switch on again when another process has switched off
//  OWN_VALUES_ONLY      instead of that, an ending service switches off only if the last write was its own
//  WATCH_LATE           a service switches on before it watches the switches
//  IGNORE_LOSS          a service goes on when another one owns the name
//  BEGIN_UNASKED        a service begins at the first broadcast, without asking the bus who owns the name
//  KEEP_IF_REPLACED     a replaced service does not switch off, also if the name has no owner any more
//  KEEP_UNLESS_SERVING  a service that ends before it has begun does not switch off

#define SERVICES 3
#define NONE SERVICES

#ifdef OWN_VALUES_ONLY
#define NO_WATCH
#endif

// The bus.
byte owner = NONE;
bool queued[SERVICES];  // replaced owners, who get the name back when it is free
bool heard[SERVICES];   // a broadcast says that the name went from one service to another

// The settings store.
bool switches = false;
byte writer = NONE;
bool watched[SERVICES];
bool noticed[SERVICES];  // a write of "off" that the service has not handled yet

bool terminate[SERVICES];
bool serves[SERVICES];

inline Broadcast()
{
    for (i : 0 .. SERVICES - 1) { heard[i] = true }
    i = 0
}

inline RequestName()
{
    d_step {
        if
        :: owner != NONE -> queued[owner] = true
        :: else
        fi
        owner = me;
        Broadcast()
    }
}

inline ReleaseName()
{
    d_step {
        queued[me] = false;
        if
        :: owner == me ->
            owner = NONE;
            for (i : 0 .. SERVICES - 1) {
                if
                :: owner == NONE && queued[i] -> owner = i; queued[i] = false
                :: else
                fi
            }
            Broadcast()
        :: else
        fi
    }
}

inline Write(value)
{
    d_step {
        switches = value;
        writer = me;
        if
        :: !value ->
            for (i : 0 .. SERVICES - 1) {
                if
                :: watched[i] -> noticed[i] = true
                :: else
                fi
            }
            i = 0
        :: else
        fi
    }
}

inline Begin()
{
    serves[me] = true;
#ifdef WATCH_LATE
    Write(true);
    watched[me] = true
#else
#ifndef NO_WATCH
    watched[me] = true;
#endif
    Write(true)
#endif
}

// The name is released first: the bus then returns it to a replaced service, if there is one.
inline Withdraw()
{
    if
#if defined(KEEP_IF_REPLACED)
    :: owner == NONE && !replaced -> Write(false)
#elif defined(KEEP_UNLESS_SERVING)
    :: owner == NONE && serves[me] -> Write(false)
#elif defined(OWN_VALUES_ONLY)
    :: owner == NONE && writer == me -> Write(false)
#else
    :: owner == NONE -> Write(false)
#endif
    :: else
    fi
}

proctype Service(byte me)
{
    byte i;
    byte reply = NONE;
    bool asking = false;  // the bus has been asked for the owner; its reply is on the way
    bool replaced = false;

    RequestName();
    do
    :: terminate[me] -> break
    :: heard[me] && !asking -> atomic { heard[me] = false; asking = true; reply = owner }
    :: asking ->
        asking = false;
        if
#ifdef BEGIN_UNASKED
        :: !serves[me] -> Begin()
#else
        :: !serves[me] && reply == me -> Begin()
#endif
#ifdef IGNORE_LOSS
        :: serves[me]
#else
        :: serves[me] && reply == me
#endif
        :: else -> replaced = true; break
        fi
    :: noticed[me] -> noticed[me] = false; Write(true)
    od;

    watched[me] = false;
    noticed[me] = false;
    ReleaseName();
    Withdraw();
    serves[me] = false
}

active proctype Supervisor()
{
    byte i;
    for (i : 0 .. SERVICES - 1) {
        run Service(i)
    }
    for (i : 0 .. SERVICES - 1) {
        if
        :: terminate[i] = true
        :: skip
        fi
    }
}

active proctype Check()
{
    byte i;
    byte serving = 0;
    timeout ->
    for (i : 0 .. SERVICES - 1) {
        serving = serving + serves[i];
        assert(!serves[i] || owner == i)
    }
    assert(serving == 0 || switches);
    assert(serving == 1 || !switches)
}
