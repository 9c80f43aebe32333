#include "platform/qt/QtMainThread.h"

#include "platform/Log.h"

#include <QCoreApplication>
#include <QTimer>

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <utility>

namespace feedline {
namespace {

using Task = std::function<void()>;

/// What travels is the task's address: far smaller than PIPE_BUF, it goes in and comes out whole.
constexpr ssize_t parcelSize = sizeof(void*);

bool send(int pipe, const Task* task) {
    ssize_t written = 0;
    do
        written = write(pipe, &task, parcelSize);
    while (written < 0 && errno == EINTR);
    return written == parcelSize;
}

std::unique_ptr<Task> receive(int pipe) {
    Task* task = nullptr;
    if (read(pipe, &task, parcelSize) != parcelSize)
        return nullptr;
    return std::unique_ptr<Task>(task);
}

} // namespace

QtMainThread::Pipe::Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        fatal("no pipe for the main thread's tasks");
    reading = ends[0];
    writing = ends[1];
    // A nested loop may have emptied the pipe by the time its notifier is heard.
    fcntl(reading, F_SETFL, O_NONBLOCK);
}

QtMainThread::Pipe::~Pipe() {
    close(writing);
    while (receive(reading))
        ;
    close(reading);
}

QtMainThread::QtMainThread() : notifier_(pipe_.reading, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] { runOneTask(); });
}

QtMainThread::~QtMainThread() = default;

void QtMainThread::perform(std::function<void()> task) {
    auto parcel = std::make_unique<Task>(std::move(task));
    if (send(pipe_.writing, parcel.get()))
        static_cast<void>(parcel.release()); // The main thread owns it from here on.
}

/// One a time: a task that opens an alert leaves the others to the alert's own loop.
void QtMainThread::runOneTask() const {
    if (const auto task = receive(pipe_.reading))
        (*task)();
}

QTimer* QtMainThread::startTimer(std::chrono::milliseconds interval, std::function<void()> task) {
    auto* timer = new QTimer(&timers_);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, std::move(task));
    timer->start(interval);
    return timer;
}

void QtMainThread::performAfterDelay(std::chrono::milliseconds delay, std::function<void()> task) {
    QTimer* timer = startTimer(delay, std::move(task));
    timer->setSingleShot(true);
    QObject::connect(timer, &QTimer::timeout, timer, &QObject::deleteLater);
}

void QtMainThread::performRepeatedly(std::chrono::milliseconds interval,
                                     std::function<void()> task) {
    startTimer(interval, std::move(task));
}

void QtMainThread::addWillTerminateObserver(std::function<void()> handler) {
    observers_.push_back(std::move(handler));
}

void QtMainThread::end() {
    ending_.store(true, std::memory_order_relaxed);
    // Unlike quit(), which an open dialogue may refuse, exit() leaves every loop there is.
    perform([] { QCoreApplication::exit(0); });
}

void QtMainThread::tellWillTerminateObservers() const {
    for (const auto& observer : observers_)
        observer();
}

} // namespace feedline
