// The platform's _dlopen in the hands of a test: files that cannot be opened, symbols that are
// missing.
#pragma once

#include <string>
#include <vector>

struct fake_loader_state {
    std::string absent_file;       // this one cannot be opened
    std::string missing_symbol;    // no library has this one
    void *plu_shm = nullptr;       // what the common library's own variables hold
    void *phu_shm = nullptr;
    std::vector<std::string> opened;    // files asked for, in order
};

fake_loader_state &fake_loader();
