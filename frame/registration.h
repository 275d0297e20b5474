// Registration of the process with the operating platform: event manager and error module.
#pragma once

#include <cstdint>

#include "platform/export.h"

extern "C" {
/// Handle of the process's event manager; written once at start by plu_bkg_evm_init.
extern PLU_EXPORT void *plu_bkg_evm;
/// Channel that event_manager_create reports; never read by the process.
extern PLU_EXPORT uint64_t plu_bkg_lwm_chan;
}

/// Result of plu_bkg_evm_init when no event manager could be created.
inline constexpr uint32_t plu_bkg_no_evm = 0x4D7E8000U;

/// Creates the event manager and stores it in plu_bkg_evm. Returns 0 or plu_bkg_no_evm.
[[nodiscard]] uint32_t plu_bkg_evm_init();

/// Registers the error-code module; a failure is only traced.
void plu_bkg_error_init();
