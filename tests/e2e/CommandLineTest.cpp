// The gateway process: command line, start-up failures, CPU pinning, signals.
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>

#include "GatewayHarness.h"

namespace {

TEST(CommandLine, NoArgumentPrintsUsageAndExits1)
{
    TempDir dir;
    GatewayProcess gw({}, dir.file("out.txt"));
    int status = gw.waitExit(5000);
    ASSERT_TRUE(gw.exited());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
    const std::string program = gatewayBinary();
    EXPECT_EQ("Usage age: " + program + " ${configFile} [${cpuIds}]\n  example: " + program + " ./Lumbrix.json 0,1,3\n",
              gw.output());
}

TEST(CommandLine, InvalidConfigurationExits1WithTheReason)
{
    TempDir dir;
    const std::string config = dir.file("bad.json");
    const std::string log = dir.file("bad.log");
    writeFile(config, R"({"log": {"file": ")" + log + R"("}, "serviceEntity": [{"socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": "x"}]})");
    GatewayProcess gw({config}, dir.file("out.txt"));
    int status = gw.waitExit(5000);
    ASSERT_TRUE(gw.exited());
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(1, WEXITSTATUS(status));
    const std::string out = gw.output();
    EXPECT_NE(std::string::npos, out.find("[Error] ConfigReader.cpp:")) << out;
    EXPECT_NE(std::string::npos, out.find("When get value by key, the value type is invalid. key:listenPort")) << out;
    EXPECT_NE(std::string::npos, out.find("Fail to load ai service config file " + config)) << out;
    EXPECT_NE(std::string::npos, out.find("Fail to init framework main ctrl object.")) << out;
    // The same lines reach the configured log file.
    EXPECT_NE(std::string::npos, readFile(log).find("Fail to init framework main ctrl object."));
}

TEST(CommandLine, InlineJsonConfigurationStartsTheGateway)
{
    GatewayHarness h;
    const std::string json = h.configJson("Info");
    GatewayProcess gw({json}, h.outputPath, h.dir.path());
    h.process.reset();
    ASSERT_TRUE(gw.waitForOutput("Success to init udp server, listen ip:127.0.0.1, listen port:" +
                                     std::to_string(h.protobufPort),
                                 5000))
        << gw.output();
    EXPECT_TRUE(gw.running());
}

TEST(CommandLine, CpuListBecomesTheTasksetCommand)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info", {"0,1,3"})) << h.output();
    const std::string expected = "Set cpu list, cmd:taskset -p 11 " + std::to_string(h.process->pid());
    EXPECT_TRUE(h.waitForOutput(expected)) << h.output();
    EXPECT_TRUE(h.process->running());
}

TEST(CommandLine, NoCpuListRunsNoTaskset)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    EXPECT_EQ(std::string::npos, h.output().find("Set cpu list"));
}

TEST(Signals, InterruptAndHangUpAreLoggedAndIgnored)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    h.process->signal(SIGINT);
    EXPECT_TRUE(h.waitForOutput("Receive signal SIGINT(no=2 from process ")) << h.output();
    h.process->signal(SIGHUP);
    EXPECT_TRUE(h.waitForOutput("Receive signal SIGHUP(no=1 from process ")) << h.output();
    EXPECT_EQ(-1, h.process->waitExit(200));
    EXPECT_TRUE(h.process->running());
}

TEST(Signals, TerminateEndsTheProcessWithoutALine)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    h.process->signal(SIGTERM);
    int status = h.process->waitExit(5000);
    ASSERT_TRUE(h.process->exited());
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGTERM, WTERMSIG(status));
    EXPECT_EQ(std::string::npos, h.output().find("Receive signal SIGTERM"));
}

TEST(Signals, SegmentationFaultSentTwiceIsLoggedThenFatal)
{
    GatewayHarness h;
    ASSERT_TRUE(h.start("Info")) << h.output();
    h.process->signal(SIGSEGV);
    ASSERT_TRUE(h.waitForOutput("Signal 11 need resume the default handle.")) << h.output();
    EXPECT_NE(std::string::npos, h.output().find("Receive signal SIGSEGV(no=11 from process "));
    EXPECT_EQ(-1, h.process->waitExit(200));
    h.process->signal(SIGSEGV);
    int status = h.process->waitExit(5000);
    ASSERT_TRUE(h.process->exited());
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(SIGSEGV, WTERMSIG(status));
}

} // namespace
