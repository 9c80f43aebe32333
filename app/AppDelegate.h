// SPDX-License-Identifier: MIT
// The controller: the one object that carries the server's operations.
//
// Its methods stand in the folder of their subject (protocol/TcpServer.cpp,
// devices/DeviceDispatch.cpp, ...); the state they share with the other threads stands in
// app/RunTimeState.h. Made once by a front end, which fills the outlets, calls
// `applicationDidFinishLaunching` from the event loop and `applicationWillTerminate` before the
// process ends, and never destroys it while another thread could run.
//
// Unless a method says otherwise it belongs to the main thread. Operations on a receiver that
// return a value return a DeviceResult.
#pragma once

#include "app/DeviceResult.h"
#include "platform/Controls.h"
#include "platform/Platform.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>

namespace feedline {

class CAscpRxMsg;

class AppDelegate {
public:
    explicit AppDelegate(const Platform& platform);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    // Outlets: set by the front end before launch, never replaced.
    TextField* serverPort = nullptr;
    TextField* serverTcpStatus = nullptr;
    TextField* serverRemoteIP = nullptr;
    TextField* serverRunning = nullptr;
    TextField* serverCenterFrequency = nullptr;
    PopUpButton* devicePopup = nullptr;
    TextField* udpAddr = nullptr;
    ValueControl* lnaAgcButton = nullptr;
    ValueControl* mixerAgcButton = nullptr;
    ValueControl* lnaGainSlider = nullptr;
    ValueControl* mixerGainSlider = nullptr;
    ValueControl* vgaGainSlider = nullptr;
    ValueControl* linearitySlider = nullptr;
    ValueControl* sensitivitySlider = nullptr;

    // Shell: app/Launch.cpp

    /// Reads the settings, opens the receiver and, if that succeeded, starts the server. Shows an
    /// alert for what the user must mend, and returns when it is dismissed.
    void applicationDidFinishLaunching();

    /// Saves the settings. May run more than once, and from the thread that ends the process when
    /// the main thread does not answer.
    void applicationWillTerminate();

    std::shared_ptr<Window> window() const;
    void setWindow(std::shared_ptr<Window> window);

    /// The token that keeps the machine awake, for the life of the process.
    std::shared_ptr<void> activity() const;
    void setActivity(std::shared_ptr<void> activity);

    // Status panel: app/StatusPanel.cpp

    /// Rewrites the four status lines; while an AirSpy is open, also logs its samples of the last
    /// second.
    void OneSecTimer();

    /// Shows a modal alert; an empty `infoText` shows the message alone. Any thread; returns when
    /// dismissed.
    void displayAnAlert(const std::string& message, const std::string& infoText);

    // Part of the controller's interface for other code to call; the server itself calls neither.
    void NewInfoData(); ///< Logs its name.
    void NewStatus();   ///< Logs its name.

    // Control server: protocol/TcpServer.cpp

    /// Takes the port from its field and starts the UDP thread and then the TCP thread.
    void SetUpTcpServer();

    /// Does so five seconds later.
    void SetUpTcpServerAfterDelay();

    /// Body of the TCP thread: listens, serves one client, and asks the main thread for a new
    /// set-up when the client has gone.
    void TCPThread();

    /// Initialises the selected receiver again and closes the server's sockets. A server that
    /// served a client comes back after five seconds; one that waited for a client does not.
    void restartServer();

    // Control messages, TCP thread: protocol/MessageReassembly.cpp, protocol/ControlItems.cpp

    /// Cuts `length` bytes of the control stream into messages and handles each. The bytes are not
    /// kept.
    void myDidReadData(const std::uint8_t* data, std::int32_t length);

    /// Carries out one complete message and answers it.
    void ParseAscpMsg(CAscpRxMsg& message);

    // UDP thread: stream/UdpThread.cpp

    /// Body of the UDP thread: sends the sample ring's content as datagrams while the server is
    /// active.
    void UDPThread();

    // Receivers: devices/DeviceDispatch.cpp

    /// Opens and configures the selected receiver, forgetting any that is open. Shows the HF+'s
    /// failures.
    std::int32_t doDeviceInit();

    /// Action of the device pop-up: the choice takes effect at the next doDeviceInit.
    void devicePopupChange();

    std::int32_t setDeviceFrequency(std::int32_t frequency); ///< Hertz. TCP thread.
    void startDevice();                                      ///< TCP thread.
    void stopDevice();                                       ///< TCP thread.

    // AirSpy HF+: devices/AirspyHf.cpp

    std::int32_t initAirspyHF();
    std::int32_t startAirSpyHF();                              ///< TCP thread.
    std::int32_t stopAirSpyHF();                               ///< TCP thread.
    std::int32_t setAirSpyHFFrequency(std::int32_t frequency); ///< Hertz. Main or TCP thread.

    // AirSpy: devices/Airspy.cpp

    std::int32_t initAirspy();
    std::int32_t startAirSpy();                              ///< TCP thread.
    std::int32_t stopAirSpy();                               ///< TCP thread.
    std::int32_t setAirSpyFrequency(std::int32_t frequency); ///< Hertz. TCP thread.

    // AirSpy gains: devices/AirspyGains.cpp

    /// Action of the seven gain controls: sends the sender's value to the open AirSpy.
    void changedGain(const ValueControl* sender);

    /// Applies a whole set of gains; the last one, the sensitivity preset, overrides the others.
    void setGainsLnaAgc(std::int32_t lnaAgc, std::int32_t mixerAgc, std::int32_t lnaGain,
                        std::int32_t mixerGain, std::int32_t vgaGain, std::int32_t linearityGain,
                        std::int32_t sensitivityGain);

private:
    /// Reassembly state. It belongs to the process, not to a connection: a message cut short by one
    /// client is continued by the next one's bytes.
    struct Reassembly {
        enum class Next : std::int32_t { headerByte0, headerByte1, rest };
        Next next = Next::headerByte0;
        std::int32_t byteIndex = 0;      ///< where the next byte of the rest goes
        std::int32_t expectedLength = 0; ///< bytes, header included
        /// Made at the first call, then reused and never cleared. Shared by nobody: this kind of
        /// pointer needs no definition of the class here.
        std::shared_ptr<CAscpRxMsg> message;
    };

    void fillDevicePopup();
    void takePort();
    void takeAddress();
    void stayAwake();
    void logAirspyStream(); ///< in devices/Airspy.cpp
    void reportHfInitFailure(std::int32_t result);
    bool takeByte(std::uint8_t byte); ///< true when it completed a message
    void setItem(CAscpRxMsg& message);
    void setReceiverState(CAscpRxMsg& message);
    void setReceiverFrequency(CAscpRxMsg& message);
    void serveClient(int connection);
    ssize_t receiveUntilNothingComes(int connection); ///< the first result that is no data's
    void cleanUpAfterClient(const char* reason);

    Platform platform_;
    std::atomic<std::shared_ptr<Window>> window_;
    std::atomic<std::shared_ptr<void>> activity_;
    std::atomic<bool> fieldsFilled_ = false; ///< From here on there is something to save.
    Reassembly reassembly_;
};

} // namespace feedline
