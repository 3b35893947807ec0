// A sender for the viewer's tests, run as a child process.
//   bvdiag_sender trace        throws and catches an exception and traces a scope on CORE;
//                              prints the line of the throw
//   bvdiag_sender lines N NAME sends "NAME 0" .. "NAME N-1" on a logger named NAME
//   bvdiag_sender twice NAME F sends "NAME 0", waits for the file F to exist, sends "NAME 1"
#include "Core/Common/AutoTrace.h"
#include "Core/Common/Exc.h"
#include "Core/Common/ExcPrivate.h"
#include "Core/Common/Logger.h"
#include "Core/Common/StrConv.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

namespace sender {

void ThrowAndCatch() {
    try {
        std::printf("%d\n", __LINE__ + 1);
        BV_THROW(mcExc, u"Sender failed on purpose");
    } catch (const mcExc&) {
    }
}

} // namespace sender

namespace {

void Trace() {
    sender::ThrowAndCatch();
    const mcStopwatch watch;
    mcAutoTrace trace("Sender scope", &watch);
}

void Lines(int count, const std::string& name) {
    core::Logger logger(mfConvertUTF8ToT(name));
    for (int i = 0; i < count; ++i) {
        logger.Log(mfConvertUTF8ToT(name + " " + std::to_string(i)));
    }
}

void Twice(const std::string& name, const std::string& go) {
    core::Logger logger(mfConvertUTF8ToT(name));
    logger.Log(mfConvertUTF8ToT(name + " 0"));
    for (int i = 0; i < 2000 && !std::filesystem::exists(go); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    logger.Log(mfConvertUTF8ToT(name + " 1"));
}

} // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "trace") {
        Trace();
        return 0;
    }
    if (mode == "lines" && argc == 4) {
        Lines(std::atoi(argv[2]), argv[3]);
        return 0;
    }
    if (mode == "twice" && argc == 4) {
        Twice(argv[2], argv[3]);
        return 0;
    }
    std::fprintf(stderr, "usage: bvdiag_sender trace | lines N NAME | twice NAME FILE\n");
    return 2;
}
