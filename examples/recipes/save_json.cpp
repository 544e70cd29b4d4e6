// Sets a value deep inside a document and saves it: the file is the old one or the new one.

#include <core/core.h>

#include <cstdio>

int main() {
    core::JsonDoc project;
    core::ParseJsonFile("project.json", project.Root());  // empty where there is none yet
    core::SetByPointer(project.Root(), "/tracks/0/gain", 0.1);
    core::SetByPointer(project.Root(), "/export/fps", 24000.0 / 1001.0);
    if (const auto result = core::SaveJson("project.json", project.Root()); !result) {
        std::printf("%s\n", result.Message().c_str());
        return 1;
    }

    core::JsonDoc again;
    core::ParseJsonFile("project.json", again.Root());
    std::printf("%.17g\n", core::ValueByPointerOr(again.Root(), "/export/fps", 0.0));
    std::printf("%s\n", core::AreEqual(project.Root(), again.Root()) ? "as saved" : "changed");

    // What no parser would read is told before anything is written.
    core::SetByPointer(project.Root(), "/tracks/0/gain", 1e300 * 1e300);
    std::printf("%s\n", core::SaveJson("project.json", project.Root()).Message().c_str());
}
