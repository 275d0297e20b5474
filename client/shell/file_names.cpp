#include "client/shell/file_names.h"

#include <algorithm>
#include <filesystem>

#include "client/base/printable.h"

namespace client {

void add_file_names(completion_set &set) {
    namespace fs = std::filesystem;
    const size_t slash = set.typed.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : set.typed.substr(0, slash + 1);
    const std::string start = set.typed.substr(folder.size());
    std::vector<candidate> names;
    std::error_code error;
    fs::directory_iterator entry(folder.empty() ? "." : folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        const std::string name = entry->path().filename().string();
        const bool hidden = name.starts_with('.') && !start.starts_with('.');
        if (!name.starts_with(start) || hidden || !is_printable(name)) {
            continue;
        }
        std::error_code unknown;
        std::string word = folder;
        word.append(name).append(entry->is_directory(unknown) ? "/" : "");
        if (word.find_first_of(" \t|#") != std::string::npos) {
            word.insert(0, 1, '"').append(1, '"');
        }
        names.push_back({word, "", true});
    }
    std::ranges::sort(names, {}, &candidate::word);
    set.candidates.insert(set.candidates.begin(), names.begin(), names.end());
}

}    // namespace client
