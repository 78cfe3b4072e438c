// Times the web configuration of a package with 10, 100 and 500 virtual
// directories, on an installer session, services and a store of its own.
#include "exports/actions.h"
#include "frame/session.h"
#include "tests/support/services_test.h"
#include "tests/support/web_store_test.h"

#include <algorithm>
#include <cstdio>

using setupactions::Format;

namespace {

const int Runs = 5;
const int Sizes[] = {10, 100, 500};

class WebBench : public ServicesTest, public WatchedWebStore {
protected:
    void SetUp() override {
        ServicesTest::SetUp();
        Sql("CREATE TABLE `HalcyonWebVirtualDir` (`VirtualDir` CHAR(72) NOT NULL, `Path` LONGCHAR, "
            "`ApplicationDirs` LONGCHAR, `Attribute` LONG, `Component_` CHAR(72), "
            "`ComponentAction` CHAR(10) PRIMARY KEY `VirtualDir`)");
        SetProperty("ConfigureWebServicesActionName", "HANDOFF");
        Cost();
    }

    // The least milliseconds of an action's runs, each after a preparation.
    template <typename Prepare>
    double Time(UINT(WINAPI* action)(MSIHANDLE), Prepare prepare) {
        double best = 0;
        for (int run = 0; run < Runs; ++run) {
            prepare();
            ClearMessages();
            LARGE_INTEGER frequency, start, end;
            QueryPerformanceFrequency(&frequency);
            QueryPerformanceCounter(&start);
            action(session);
            QueryPerformanceCounter(&end);
            const double milliseconds = 1000.0 *
                                        static_cast<double>(end.QuadPart - start.QuadPart) /
                                        static_cast<double>(frequency.QuadPart);
            best = run == 0 ? milliseconds : std::min(best, milliseconds);
        }
        return best;
    }

    static void Print(const char* what, const std::vector<double>& times) {
        std::printf("%-34s", what);
        for (const double time : times)
            std::printf("  %8.1f ms (x %6.1f)", time, time / times.front());
        std::printf("\n");
    }
};

} // namespace

TEST_F(WebBench, CostByRows) {
    std::vector<double> handing, applying, looking;
    std::vector<std::string> files;
    int rows = 0;
    for (const int size : Sizes) {
        for (; rows < size; ++rows)
            Sql(Format("INSERT INTO `HalcyonWebVirtualDir` (`VirtualDir`, `Path`, "
                       "`ApplicationDirs`, `Attribute`, `Component_`, `ComponentAction`) VALUES "
                       "('dir%d', '[INSTALLDIR]dir%d', "
                       "'/dir%d', 513, 'Main', '+-')",
                       rows, rows, rows));
        handing.push_back(Time(GetWebInfo, [&] { DeleteFileA(Property("HANDOFF").c_str()); }));
        files.push_back(Property("HANDOFF"));
        SetProperty("HANDOFF", "");
    }
    for (const std::string& file : files) {
        MakeDeferred(file);
        applying.push_back(Time(ConfigureWebServices, [&] { Forget(); }));
        EXPECT_EQ(Saved().size(), 4u + static_cast<size_t>(Sizes[applying.size() - 1]));
        WritePrivateProfileStringA("Component_Action", "Main", "2", file.c_str());
        looking.push_back(Time(ConfigureWebServices, [] {}));
        DeleteFileA(file.c_str());
    }
    Print("GetWebInfo", handing);
    Print("ConfigureWebServices", applying);
    Print("ConfigureWebServices, no change", looking);
}
