#include "child.hpp"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <poll.h>
#include <sstream>

namespace qmctl {

namespace {

struct Pipe
{
    Pipe()
    {
        if (pipe2(ends.data(), O_CLOEXEC) != 0)
            throw Failure(fmt::format("cannot make a pipe: {}", std::strerror(errno)));
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe()
    {
        for (int& end : ends)
            shut(end);
    }
    static void shut(int& end)
    {
        if (end >= 0) (void)close(end);
        end = -1;
    }
    std::array<int, 2> ends{-1, -1};
};

void writeAll(int file, const std::string& text)
{
    for (std::size_t done = 0; done < text.size();) {
        const ssize_t count = write(file, text.data() + done, text.size() - done);
        if (count <= 0) return;
        done += static_cast<std::size_t>(count);
    }
}

/// Reads both pipes until the child has closed them.
void collect(Pipe& words, Pipe& answer, std::string& said, std::string& found)
{
    std::array<pollfd, 2> open{pollfd{words.ends[0], POLLIN, 0}, pollfd{answer.ends[0], POLLIN, 0}};
    std::array<char, 4096> part{};
    while (open[0].fd >= 0 || open[1].fd >= 0) {
        if (poll(open.data(), open.size(), -1) < 0 && errno != EINTR) return;
        for (std::size_t i = 0; i < open.size(); ++i) {
            if (open[i].fd < 0 || open[i].revents == 0) continue;
            const ssize_t count = read(open[i].fd, part.data(), part.size());
            if (count <= 0)
                open[i].fd = -1;
            else
                (i == 0 ? said : found).append(part.data(), static_cast<std::size_t>(count));
        }
    }
}

[[noreturn]] void answerAndEnd(const std::function<Json()>& part, int answer)
{
    Json told;
    try {
        told["value"] = part();
    } catch (const Failure& failure) {
        told = {{"failure", failure.what()}, {"status", failure.status}};
    } catch (const std::exception& error) {
        told = {{"failure", error.what()}, {"status", kFailed}};
    }
    (void)std::fflush(nullptr);
    writeAll(answer, jsonText(told));
    _exit(0);
}

std::vector<std::string> splitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty()) lines.push_back(line);
    return lines;
}

}  // namespace

Told inChild(const std::function<Json()>& part)
{
    Pipe words;
    Pipe answer;
    (void)std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
    if (child == 0) {
        (void)dup2(words.ends[1], STDOUT_FILENO);
        (void)dup2(words.ends[1], STDERR_FILENO);
        answerAndEnd(part, answer.ends[1]);
    }
    Pipe::shut(words.ends[1]);
    Pipe::shut(answer.ends[1]);
    std::string said;
    std::string found;
    collect(words, answer, said, found);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    Told told{{}, splitLines(said)};
    const Json result = Json::parse(found, nullptr, false);
    if (result.is_discarded()) {
        const std::string how = WIFSIGNALED(status) ? fmt::format("signal {}", strsignal(WTERMSIG(status)))
                                                    : fmt::format("exit status {}", WEXITSTATUS(status));
        throw Failure(fmt::format("the library's process ended ({}): {}", how,
                                  told.said.empty() ? "without a word" : told.said.back()));
    }
    if (result.contains("failure"))
        throw Failure(result.at("failure").get<std::string>(), result.at("status").get<int>());
    told.value = result.at("value");
    return told;
}

std::string reasonOf(const std::vector<std::string>& said, const std::string& otherwise)
{
    std::string reason;
    for (const std::string& line : said) {
        const std::size_t mark = line.find("QM: ");
        const std::string words = mark == std::string::npos ? line : line.substr(mark + 4);
        reason += (reason.empty() ? "" : "; ") + words.substr(0, words.find_last_not_of(" .") + 1);
    }
    return reason.empty() ? otherwise : reason;
}

bool runProgram(const std::vector<std::string>& command, int input)
{
    std::vector<std::string> words = command;
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions{};
    (void)posix_spawn_file_actions_init(&actions);
    if (input >= 0) {
        (void)posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        (void)posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    }
    pid_t child = -1;
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    (void)posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw Failure(fmt::format("cannot start '{}': {}", command[0], std::strerror(error)));
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status == 0;
}

}  // namespace qmctl
