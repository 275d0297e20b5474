// Visibility of the exported variables, put on their declarations; everything else is hidden.
#pragma once

#define PLU_EXPORT __attribute__((visibility("default")))
