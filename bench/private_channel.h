// Queues of this program's own, so that a measurement meets no other process of the machine.
#pragma once

/// Moves this process and its later children to message queues of their own, and the clients' lock
/// with them, where the system allows it; says so on standard error where it does not. Call it
/// before any thread exists.
void use_private_channel();
