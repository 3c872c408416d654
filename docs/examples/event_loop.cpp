// A graphical front end stays alive during a long command: the hook handles the window's events.
#include <panelkit/tokens/tokens_controller.h>
#include <platform/bridge/failure.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <thread>

// In place of a toolkit's event loop: handles events for at most `time`.
struct Window {
    int rounds = 0;
    void handleEvents(std::chrono::milliseconds time) {
        ++rounds;
        std::this_thread::sleep_for(time);
    }
};

class WindowTokensController : public VpnTokensController {
public:
    explicit WindowTokensController(Window& window) : window_(window) {}

    // Called on the thread that gave the command. It may stay until the command has ended.
    void OnExecuteCommand(const SendCommandProgress& progress) override {
        while (progress.running) window_.handleEvents(std::chrono::milliseconds(50));
    }

private:
    Window& window_;
};

int main() {
    Window window;
    WindowTokensController controller(window);
    if (!controller.ReloadAll()) {
        std::fprintf(stderr, "%s\n", bridge::lastFailure().text().c_str());
        return 1;
    }
    std::printf("reloaded; events were handled %d times meanwhile\n", window.rounds);
}
