#include "platform/ProcessReplace.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace mnemora {

std::string replaceProcess(const std::string& path, const std::vector<std::string>& arguments) {
    std::vector<char*> argv;
    argv.reserve(arguments.size() + 2);
    argv.push_back(const_cast<char*>(path.c_str()));
    for (const std::string& argument : arguments) {
        argv.push_back(const_cast<char*>(argument.c_str()));
    }
    argv.push_back(nullptr);
    ::execv(path.c_str(), argv.data());
    return std::strerror(errno);
}

} // namespace mnemora
