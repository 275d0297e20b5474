// Error-code facility of the stand-in platform. Codes are errno values; a registration is refused
// when it names no module file.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "platform/export.h"
#include "platform/qerr.h"

PLU_EXPORT int qerr_register_dll(int module, const char *message_file) {
    return module > 0 && message_file != nullptr && message_file[0] != '\0' ? 0 : EINVAL;
}

PLU_EXPORT const char *qerr_strerror(int code) {
    thread_local char text[64];
    const char *known = strerrordesc_np(code);
    if (known != nullptr) {
        return known;
    }
    snprintf(text, sizeof text, "error code 0x%x", static_cast<unsigned>(code));
    return text;
}
