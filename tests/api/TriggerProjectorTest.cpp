// Triggers, strobes and the projector through the public header, on the virtual scanner.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ApiTestSupport.h"

namespace {

using namespace zetaVoroSync;
using namespace zeta::api::test;
using zeta::sim::test::useRig;
using zeta::test::ConsoleCapture;
using zeta::test::LogCapture;

class ApiTrigger : public ::testing::Test {
protected:
    void SetUp() override {
        useRig(monoRig(1));
        connection_ = std::make_unique<Connection>(std::vector<std::string>{"ZV0001"});
        ASSERT_EQ(connection_->status(), RET_OPERATE_SUCCESS);
        mark_ = journalMark();
    }
    void TearDown() override { connection_.reset(); }

    void*& handle() { return connection_->handle(); }
    // Board records since the fixture's mark, as "op args".
    std::vector<std::string> boardCalls() const {
        std::vector<std::string> calls;
        for (auto& r : recordsSince(mark_, "", "board")) calls.push_back(r.op + " " + r.args);
        return calls;
    }
    void remark() { mark_ = journalMark(); }

    std::unique_ptr<Connection> connection_;
    std::uint64_t mark_ = 0;
};

using Calls = std::vector<std::string>;

std::string lastRecordOfArgs(const std::string& op) {
    return zeta::sim::test::lastRecordOf(op).args;
}

TEST_F(ApiTrigger, PowerStrobeUp) {
    LogCapture log;
    ConsoleCapture console;
    EXPECT_EQ(PowerStrobeUp(handle(), CONTROLROUTE_COLOR, true), RET_OPERATE_SUCCESS);
    EXPECT_EQ(console.text(), "[ZETAVOROSYNC_API] --- Goto PowerStrobeUp Path: 1  1\n");
    EXPECT_EQ(boardCalls(), (Calls{"zetaOpenOrCloseStrobe [1,true]"}));
    EXPECT_TRUE(zeta::sim::boardState().routes[1].strobe);
    EXPECT_TRUE(log.contains("PowerStrobeUp EnableStrobe lineOrder=1"));
    EXPECT_TRUE(log.contains("bPowerOrNot=1"));
    EXPECT_TRUE(log.contains("PowerStrobeUp EnableStrobe retVal=0"));
}

TEST_F(ApiTrigger, PowerStrobeUpOnAnOtherRouteAddressesBoth) {
    EXPECT_EQ(PowerStrobeUp(handle(), static_cast<CONTROLROUTE>(9), true), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaOpenOrCloseStrobe [2,true]"}));
}

TEST_F(ApiTrigger, PowerStrobeUpThatTheBoardRefusesTwiceFails) {
    zeta::sim::failNext("board", "zetaOpenOrCloseStrobe", 2);
    EXPECT_EQ(PowerStrobeUp(handle(), CONTROLROUTE_MONO, true), RET_OPERATE_FAILED);
    EXPECT_EQ(recordsSince(mark_, "zetaOpenOrCloseStrobe").size(), 2u);
}

TEST_F(ApiTrigger, PowerStrobeUpWhileTheStrobeFollowsTheTriggerIsRefusedByTheBoardSide) {
    ASSERT_EQ(SetStrobeControlledByTrigger(handle(), CONTROLROUTE_MONO, true), RET_OPERATE_SUCCESS);
    remark();
    EXPECT_EQ(PowerStrobeUp(handle(), CONTROLROUTE_MONO, true), RET_OPERATE_FAILED);
    EXPECT_TRUE(boardCalls().empty());
}

TEST_F(ApiTrigger, SetStrobeControlledByTrigger) {
    ConsoleCapture console;
    EXPECT_EQ(SetStrobeControlledByTrigger(handle(), CONTROLROUTE_BOTH, true), RET_OPERATE_SUCCESS);
    EXPECT_EQ(console.text(), "[ZETAVOROSYNC_API] --- Goto SetStrobeControlledByTrigger: 1\n");
    EXPECT_EQ(boardCalls(), (Calls{"zetaOpenOrCloseStrobeFlicker [2,true]"}));
    EXPECT_TRUE(zeta::sim::boardState().routes[0].strobeFlicker);
    EXPECT_TRUE(zeta::sim::boardState().routes[1].strobeFlicker);
}

TEST_F(ApiTrigger, SetStrobeControlledByTriggerPassesRoutesZeroToTwoUnchanged) {
    EXPECT_EQ(SetStrobeControlledByTrigger(handle(), CONTROLROUTE_MONO, false),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetStrobeControlledByTrigger(handle(), CONTROLROUTE_COLOR, false),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetStrobeControlledByTrigger(handle(), static_cast<CONTROLROUTE>(-4), false),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaOpenOrCloseStrobeFlicker [0,false]",
                                   "zetaOpenOrCloseStrobeFlicker [1,false]",
                                   "zetaOpenOrCloseStrobeFlicker [2,false]"}));
}

TEST_F(ApiTrigger, EnableIRProjectorAndLaserIsUnsupportedInTheStripeMode) {
    EXPECT_EQ(EnableIRProjectorAndLaser(handle(), true, true), RET_OPERATION_UNSUPPORTED);
    EXPECT_TRUE(boardCalls().empty());
}

TEST_F(ApiTrigger, VideoTriggerPeriod) {
    EXPECT_EQ(SetVideoTriggerPeriod(handle(), CONTROLROUTE_MONO, 20), RET_OPERATE_SUCCESS);
    EXPECT_EQ(SetVideoTriggerPeriod(handle(), static_cast<CONTROLROUTE>(5), 30),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(),
              (Calls{"zetaSetVideoTriggerPeriod [0,20]", "zetaSetVideoTriggerPeriod [2,30]"}));
    int period = 0;
    EXPECT_EQ(GetVideoTriggerPeriod(handle(), CONTROLROUTE_COLOR, period), RET_OPERATE_SUCCESS);
    EXPECT_EQ(period, 30);
    EXPECT_EQ(recordsSince(mark_, "zetaQueryColorCameraVideoTriggerParameter").size(), 1u);
}

TEST_F(ApiTrigger, VideoTriggerPeriodThatTheBoardRefuses) {
    zeta::sim::failNext("board", "zetaSetVideoTriggerPeriod", 1);
    EXPECT_EQ(SetVideoTriggerPeriod(handle(), CONTROLROUTE_MONO, 20), RET_OPERATE_FAILED);
}

TEST_F(ApiTrigger, RouteGettersAcceptOneRouteOnly) {
    int value = -7;
    TRIGGERPOLARITY polarity = static_cast<TRIGGERPOLARITY>(-7);
    for (int route : {2, 3, -1}) {
        const auto r = static_cast<CONTROLROUTE>(route);
        EXPECT_EQ(GetVideoTriggerPeriod(handle(), r, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetTriggerPulseWidth(handle(), r, value), RET_PARAMETER_ERROR);
        EXPECT_EQ(GetTriggerPolarity(handle(), r, polarity), RET_PARAMETER_ERROR);
    }
    EXPECT_EQ(value, -7);
    EXPECT_EQ(polarity, static_cast<TRIGGERPOLARITY>(-7));
    EXPECT_TRUE(trafficSince(mark_).empty());
}

TEST_F(ApiTrigger, ProjectorBrightness) {
    EXPECT_EQ(SetProjectorBrightness(handle(), 55), RET_OPERATE_SUCCESS);
    int percent = 0;
    EXPECT_EQ(GetProjectorBrightness(handle(), percent), RET_OPERATE_SUCCESS);
    EXPECT_EQ(percent, 55);
    EXPECT_EQ(boardCalls(), (Calls{"zetaSetProjectorBrightnessPercent [55]",
                                   "zetaQueryProjectorBrightnessPercent []"}));
}

TEST_F(ApiTrigger, TriggerPulseWidth) {
    EXPECT_EQ(SetTriggerPulseWidth(handle(), CONTROLROUTE_COLOR, 3), RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastRecordOfArgs("zetaSetTriggerPulseWidth"), "[1,3]");
    int width = 0;
    EXPECT_EQ(GetTriggerPulseWidth(handle(), CONTROLROUTE_COLOR, width), RET_OPERATE_SUCCESS);
    EXPECT_EQ(width, 3);
    EXPECT_EQ(recordsSince(mark_, "zetaQueryColorCameraTriggerParameter").size(), 1u);
}

TEST_F(ApiTrigger, TriggerPolarityOfRouteTwoAddressesBothRoutes) {
    EXPECT_EQ(SetTriggerPolarity(handle(), CONTROLROUTE_BOTH, static_cast<TRIGGERPOLARITY>(5)),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaSetTriggerPolarity [2,1]"}));
    TRIGGERPOLARITY polarity = TRIGGERPOLARITY_LOW;
    EXPECT_EQ(GetTriggerPolarity(handle(), CONTROLROUTE_MONO, polarity), RET_OPERATE_SUCCESS);
    EXPECT_EQ(polarity, TRIGGERPOLARITY_HIGH);
    polarity = TRIGGERPOLARITY_LOW;
    EXPECT_EQ(GetTriggerPolarity(handle(), CONTROLROUTE_COLOR, polarity), RET_OPERATE_SUCCESS);
    EXPECT_EQ(polarity, TRIGGERPOLARITY_HIGH);
    EXPECT_EQ(GetTriggerPolarity(handle(), CONTROLROUTE_BOTH, polarity), RET_PARAMETER_ERROR);
    EXPECT_EQ(SetTriggerPolarity(handle(), CONTROLROUTE_MONO, TRIGGERPOLARITY_LOW),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(lastRecordOfArgs("zetaSetTriggerPolarity"), "[0,0]");
}

TEST_F(ApiTrigger, EnableVideoTrigger) {
    LogCapture log;
    {
        ConsoleCapture console;
        EXPECT_EQ(EnableVideoTrigger(handle(), CONTROLROUTE_MONO, true), RET_OPERATE_SUCCESS);
        EXPECT_NE(console.text().find("Set Continue Trigger 1\n"), std::string::npos);
    }
    EXPECT_TRUE(zeta::sim::boardState().routes[0].videoTrigger);
    EXPECT_TRUE(log.contains("hSync="));
    EXPECT_TRUE(log.contains("bEnable=1"));
    EXPECT_TRUE(log.contains("lineOrder=0"));
    EXPECT_EQ(EnableVideoTrigger(handle(), static_cast<CONTROLROUTE>(4), false),
              RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaStartOrStopVideoTrigger [0,true]",
                                   "zetaStartOrStopVideoTrigger [2,false]"}));
    EXPECT_FALSE(zeta::sim::boardState().routes[0].videoTrigger);
}

TEST_F(ApiTrigger, PushSingleTrigger) {
    const auto pulses = zeta::sim::boardState().routes[1].pulses;
    EXPECT_EQ(PushSingleTrigger(handle(), CONTROLROUTE_COLOR), RET_OPERATE_SUCCESS);
    EXPECT_EQ(zeta::sim::boardState().routes[1].pulses, pulses + 1);
    EXPECT_EQ(PushSingleTrigger(handle(), static_cast<CONTROLROUTE>(3)), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaOutputSingleTrigger [1]", "zetaOutputSingleTrigger [2]"}));
}

// Public pattern -> pattern code -> board pattern, both tables.
TEST_F(ApiTrigger, ProjectTranslatesThePublicPatternTwice) {
    const int boardPattern[13] = {2, 7, 8, 9, 1, 3, 4, 10, 5, 12, 6, 13, 0};
    for (int type = 0; type <= 12; ++type) {
        remark();
        EXPECT_EQ(Project(handle(), static_cast<PROJECTTYPES>(type)), RET_OPERATE_SUCCESS);
        EXPECT_EQ(boardCalls(), (Calls{"zetaProject [" + std::to_string(boardPattern[type]) + "]"}))
            << type;
        EXPECT_EQ(zeta::sim::boardState().projection, boardPattern[type]);
    }
}

TEST_F(ApiTrigger, ProjectConsoleAndLogLines) {
    LogCapture log;
    ConsoleCapture console;
    EXPECT_EQ(Project(handle(), PROJECT_STRIPE), RET_OPERATE_SUCCESS);
    EXPECT_EQ(console.text(), "[ZETAVOROSYNC_API] --- Goto Projector: 6\n");
    EXPECT_EQ(boardCalls(), (Calls{"zetaProject [4]"}));
    EXPECT_TRUE(log.contains("Project tmpProjectType=2"));
    EXPECT_TRUE(log.contains("retryCount=0"));
    EXPECT_TRUE(log.contains("Project retVal=0"));
    EXPECT_TRUE(log.contains("Project final retVal=0"));
    remark();
    EXPECT_EQ(Project(handle(), PROJECT_GREY), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaProject [12]"}));
}

TEST_F(ApiTrigger, ProjectOutsideTheTableIsUnsupportedWithoutTouchingTheBoard) {
    for (int type : {13, -1, 100}) {
        EXPECT_EQ(Project(handle(), static_cast<PROJECTTYPES>(type)), RET_OPERATION_UNSUPPORTED);
    }
    EXPECT_TRUE(trafficSince(mark_).empty());
}

TEST_F(ApiTrigger, ProjectRetriesWhileTheBoardRefuses) {
    LogCapture log;
    zeta::sim::failNext("board", "zetaProject", 2);
    EXPECT_EQ(Project(handle(), PROJECT_WHITE), RET_OPERATE_SUCCESS);
    auto records = recordsSince(mark_, "zetaProject");
    ASSERT_EQ(records.size(), 3u);
    EXPECT_FALSE(records[0].ok);
    EXPECT_FALSE(records[1].ok);
    EXPECT_TRUE(records[2].ok);
    // 50 ms between attempts.
    EXPECT_GE(records[2].tUs - records[0].tUs, 90000u);
    EXPECT_TRUE(log.contains("retryCount=2"));
}

TEST_F(ApiTrigger, ProjectGivesUpAfterTenAttempts) {
    LogCapture log;
    zeta::sim::failNext("board", "zetaProject", -1);
    EXPECT_EQ(Project(handle(), PROJECT_WHITE), RET_OPERATE_FAILED);
    EXPECT_EQ(recordsSince(mark_, "zetaProject").size(), 10u);
    EXPECT_TRUE(log.contains("Project final retVal=3"));
    zeta::sim::clearFailures();
}

TEST_F(ApiTrigger, DistanceIndicatorSwapsTwoAndThree) {
    const std::pair<int, int> cases[] = {{1, 1}, {2, 3}, {3, 2}, {0, 0}, {4, 0}, {-1, 0}};
    for (auto [status, sent] : cases) {
        remark();
        EXPECT_EQ(SetDistanceIndicate(handle(), static_cast<DISTANCESTATUS>(status)),
                  RET_OPERATE_SUCCESS);
        EXPECT_EQ(boardCalls(), (Calls{"zetaSetDistanceIndicate [" + std::to_string(sent) + "]"}))
            << status;
    }
}

TEST_F(ApiTrigger, EnableZoomFunction) {
    ConsoleCapture console;
    EXPECT_EQ(EnableZoomFunction(handle(), true), RET_OPERATE_SUCCESS);
    EXPECT_NE(console.text().find("Start Zoom Function\n"), std::string::npos);
    EXPECT_EQ(boardCalls(), (Calls{"zetaOpenOrCloseZoomFunction [true]"}));
    EXPECT_TRUE(zeta::sim::boardState().zoom);
}

TEST_F(ApiTrigger, ResetColorModule) {
    EXPECT_EQ(ResetColorModule(handle()), RET_OPERATE_SUCCESS);
    EXPECT_EQ(boardCalls(), (Calls{"zetaResetColorRoute []"}));
    EXPECT_EQ(zeta::sim::boardState().colorRouteResets, 1);
}

TEST_F(ApiTrigger, EnterFixScanModes) {
    LogCapture log;
    EXPECT_EQ(EnterFixScanFastMode(handle()), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(zeta::sim::boardState().fixScanFastMode);
    EXPECT_EQ(EnterFixScanFreeProjectMode(handle()), RET_OPERATE_SUCCESS);
    EXPECT_TRUE(zeta::sim::boardState().fixScanFreeProjectMode);
    EXPECT_EQ(boardCalls(),
              (Calls{"zetaEnterFixScanFastMode []", "zetaEnterFixScanFreeProjectMode []"}));
    EXPECT_TRUE(log.contains("EnterFixScanFastMode hSync="));
    EXPECT_TRUE(log.contains("EnterFixScanFastMode retVal=0"));
    EXPECT_TRUE(log.contains("EnterFixScanFreeProjectMode hSync="));
    EXPECT_TRUE(log.contains("EnterFixScanFreeProjectMode retVal=0"));

    zeta::sim::failNext("board", "zetaEnterFixScanFastMode", 1);
    EXPECT_EQ(EnterFixScanFastMode(handle()), RET_OPERATE_FAILED);
}

}  // namespace
