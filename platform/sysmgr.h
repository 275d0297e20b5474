// System manager of the operating platform.
#pragma once

extern "C" {
/// Tells the system manager that the calling process is ready to serve.
int sysmgr_proc_ready(void);
}
