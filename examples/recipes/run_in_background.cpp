// Runs tasks on a thread of their own, in the order in which they were posted.

#include <core/core.h>

#include <cstdio>
#include <memory>

class Save : public core::Task {
public:
    explicit Save(int toSave) : version(toSave) {}
    void Run() override { std::printf("saved version %d\n", version); }

private:
    int version;
};

int main() {
    std::unique_ptr<core::IWorker> worker(CreateWorker());
    for (int version = 1; version <= 3; ++version) {
        worker->PostTask(new Save(version));  // the worker owns it from now on
    }
    worker.reset();  // joins the thread, and runs here what is left
    std::printf("all saved\n");
}
