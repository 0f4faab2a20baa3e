#include "simulator.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace e2e {

TemporaryFile::TemporaryFile(const std::string& suffix, const std::string& content)
{
    std::string path = "/tmp/e2e_XXXXXX" + suffix;
    const int descriptor = mkstemps(path.data(), static_cast<int>(suffix.size()));
    if (descriptor < 0)
        throw std::runtime_error("no temporary file");
    close(descriptor);
    path_ = path;
    std::ofstream(path_) << content;
}

TemporaryFile::~TemporaryFile()
{
    unlink(path_.c_str());
}

Simulator::Simulator(const std::string& tagFile, std::vector<std::string> options)
{
    std::vector<std::string> arguments = {PLCSIM, "--tags", tagFile, "--listen", "127.0.0.1:0"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    process_ = std::make_unique<Process>(arguments);
    const std::string ready = process_->readLine();
    const std::string expected = "plcsim: listening on ";
    if (ready.rfind(expected, 0) != 0)
        throw std::runtime_error("plcsim did not start: " + process_->finish().err);
    address_ = ready.substr(expected.size());
}

std::string Simulator::command(const std::string& text)
{
    process_->writeLine(text);
    return process_->readLine();
}

std::string Simulator::value(const std::string& reference)
{
    const std::string answer = command("get " + reference);
    const std::string expected = "get " + reference + " = ";
    if (answer.rfind(expected, 0) != 0)
        throw std::runtime_error("plcsim: " + answer);
    return answer.substr(expected.size());
}

std::vector<std::string> Simulator::references()
{
    std::istringstream head(command("tags"));
    std::string word;
    int count = 0;
    head >> word >> count;
    std::vector<std::string> references;
    for (int i = 0; i < count; ++i) {
        std::istringstream line(process_->readLine());
        std::string name;
        std::string type;
        std::string size;
        line >> name >> type >> size;
        references.push_back(
            size == "single" ? name : name + "[0.." + std::to_string(std::stoi(size) - 1) + "]");
    }
    return references;
}

Outcome panelhost(const std::vector<std::string>& arguments)
{
    std::vector<std::string> all = {PANELHOST};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return run(all);
}

std::string shownValue(const std::string& out, const std::string& reference)
{
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t equals = line.find(" = ");
        if (equals == std::string::npos)
            continue;
        std::string name = line.substr(0, equals);
        name.erase(name.find_last_not_of(' ') + 1);
        if (name != reference)
            continue;
        const std::string value = line.substr(equals + 3);
        return value.substr(0, value.rfind("  "));
    }
    return {};
}

} // namespace e2e
