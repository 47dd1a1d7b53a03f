#pragma once

/// Starts this program anew inside the sandbox and doesn't return, unless it runs there already or only lists its
/// tests. To be called first in main. Some of the daemon's paths are fixed: a test that ran outside would find, and
/// leave, things in this machine's own folders.
void moveIntoSandbox(char** argv);
