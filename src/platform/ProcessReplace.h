#pragma once

#include <string>
#include <vector>

namespace mnemora {

// Replaces the running process image. Returns only on failure, with the system's text for the
// error. `arguments` become argv[1...]; argv[0] is the target's path.
std::string replaceProcess(const std::string& path, const std::vector<std::string>& arguments);

} // namespace mnemora
