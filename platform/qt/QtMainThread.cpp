// SPDX-License-Identifier: MIT
#include "platform/qt/QtMainThread.h"

#include "platform/Log.h"

#include <QCoreApplication>
#include <QTimer>

#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace feedline {
namespace {

/// A counter that reading takes one from, and that nobody ever waits for.
int makeCounter() {
    const int counter = eventfd(0, EFD_SEMAPHORE | EFD_NONBLOCK | EFD_CLOEXEC);
    if (counter < 0)
        fatal("no counter for the main thread's tasks");
    return counter;
}

} // namespace

QtMainThread::QtMainThread()
    : taskCount_(makeCounter()), notifier_(taskCount_, QSocketNotifier::Read) {
    QObject::connect(&notifier_, &QSocketNotifier::activated, [this] { runOneTask(); });
}

QtMainThread::~QtMainThread() {
    notifier_.setEnabled(false); // Or it would watch whatever gets the number next.
    close(taskCount_);
}

void QtMainThread::perform(std::function<void()> task) {
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    eventfd_write(taskCount_, 1);
}

/// One a time: a task that opens an alert leaves the others to the alert's own loop.
void QtMainThread::runOneTask() {
    eventfd_t one = 0;
    if (eventfd_read(taskCount_, &one) == 0) // Else a nested loop has taken the last one.
        takeTask()();
}

std::function<void()> QtMainThread::takeTask() {
    const std::lock_guard lock(mutex_);
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    return task;
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
