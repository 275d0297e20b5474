#include "frame/registration.h"

#include "platform/event.h"
#include "platform/qerr.h"
#include "reply/trace.h"

extern "C" {
void *plu_bkg_evm = nullptr;
uint64_t plu_bkg_lwm_chan = 0;
}

namespace {
constexpr char event_device[] = "/dev/qmt_plu_bkg";
constexpr int event_channels = 5;
constexpr int error_module = 6909;
constexpr char error_module_file[] = "qerrno/libplu_error.dll";
}    // namespace

uint32_t plu_bkg_evm_init() {
    plu_bkg_evm = event_manager_create(0, event_device, event_channels, &plu_bkg_lwm_chan);
    if (plu_bkg_evm == nullptr) {
        PLU_TRACE(trace_class::failure, "Plu BKG Process %s could not init: null EVM",
                  "plu_bkg_evm_init");
        return plu_bkg_no_evm;
    }
    return 0;
}

void plu_bkg_error_init() {
    const int code = qerr_register_dll(error_module, error_module_file);
    if (code != 0) {
        PLU_TRACE(trace_class::failure, "Failed to init PLU qerrno module:%s\n",
                  qerr_strerror(code));
    }
}
