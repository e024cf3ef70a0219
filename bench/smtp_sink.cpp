// An SMTP server that accepts every mail. It acknowledges all data at once, because
// delayed acknowledgements (40 ms) would hide what is measured. Prints its port in a
// line, then a byte for each mail when its connection has ended. Serves until its
// standard input ends.
#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <netinet/tcp.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace {

void acknowledgeAtOnce(int connection) {
    const int on = 1;
    setsockopt(connection, IPPROTO_TCP, TCP_QUICKACK, &on, sizeof on);
}

bool say(int connection, std::string_view text) {
    return send(connection, text.data(), text.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(text.size());
}

std::string_view answerTo(std::string_view line, bool& inMessage, bool& taken) {
    if (inMessage) {
        if (line != ".\r\n")
            return "";
        inMessage = false;
        taken = true;
        return "250 taken\r\n";
    }
    if (line.starts_with("DATA")) {
        inMessage = true;
        return "354 go on\r\n";
    }
    return line.starts_with("QUIT") ? "221 bye\r\n" : "250 yes\r\n";
}

void serve(int connection) {
    std::string pending;
    bool inMessage = false;
    bool taken = false;
    bool alive = say(connection, "220 sink\r\n");
    char block[65536];
    while (alive) {
        const ssize_t got = recv(connection, block, sizeof block, 0);
        if (got <= 0)
            break;
        acknowledgeAtOnce(connection);
        pending.append(block, static_cast<size_t>(got));
        size_t start = 0;
        for (size_t end; alive && (end = pending.find("\r\n", start)) != std::string::npos;
             start = end + 2) {
            const auto line = std::string_view(pending).substr(start, end + 2 - start);
            const std::string_view answer = answerTo(line, inMessage, taken);
            alive = answer.empty() || say(connection, answer);
        }
        pending.erase(0, start);
    }
    close(connection);
    if (taken && write(STDOUT_FILENO, ".", 1) != 1)
        _exit(1);
}

} // namespace

int main() {
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        listen(listener, 128) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::perror("smtp_sink");
        return 1;
    }
    std::printf("%d\n", ntohs(address.sin_port));
    std::fflush(stdout);
    std::thread([] {
        char byte;
        while (read(STDIN_FILENO, &byte, 1) > 0) {
        }
        _exit(0);
    }).detach();
    for (;;) {
        const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (connection >= 0)
            std::thread(serve, connection).detach();
    }
}
