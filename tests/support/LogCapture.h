#pragma once

#include <QLoggingCategory>
#include <QString>
#include <QStringList>

namespace mnemora::test {

// Collects the messages of one logging category for the lifetime of the object.
class LogCapture {
public:
    explicit LogCapture(const char* category)
        : category_(category) {
        previous_ = qInstallMessageHandler(&LogCapture::handle);
        current() = this;
    }
    ~LogCapture() {
        current() = nullptr;
        qInstallMessageHandler(previous_);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const QStringList& lines() const { return lines_; }
    void clear() { lines_.clear(); }
    bool contains(const QString& line) const { return lines_.contains(line); }
    bool containsPrefix(const QString& prefix) const {
        for (const QString& line : lines_) {
            if (line.startsWith(prefix)) {
                return true;
            }
        }
        return false;
    }

private:
    static LogCapture*& current() {
        static LogCapture* capture = nullptr;
        return capture;
    }
    static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message) {
        LogCapture* capture = current();
        if (capture != nullptr && context.category != nullptr &&
            qstrcmp(context.category, capture->category_) == 0) {
            capture->lines_ << message;
            return;
        }
        if (capture != nullptr && capture->previous_ != nullptr) {
            capture->previous_(type, context, message);
        }
    }

    const char* category_;
    QtMessageHandler previous_ = nullptr;
    QStringList lines_;
};

} // namespace mnemora::test
