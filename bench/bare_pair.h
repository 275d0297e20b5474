// A bare sender and a bare receiver over a queue of the channel's shape.
#pragma once

enum class waiting {
    polls,       // the receiver polls a moment before it sleeps
    blocks,      // the receiver sleeps for every message
    one_core,    // both on one processor
};

/// Seconds for `messages` texts between two processes; negative when they cannot run.
double bare_pair(long messages, waiting how);
