#include "voice/QtAudioRecorder.h"

#include <QAudioFormat>
#include <QAudioInput>
#include <QAudioSource>
#include <QDir>
#include <QFile>
#include <QMediaCaptureSession>
#include <QMediaDevices>
#include <QMediaFormat>
#include <QMediaRecorder>
#include <QPointer>
#include <QProcess>
#include <QStandardPaths>
#include <QUrl>
#include <QUuid>

#include <QCoroTimer>

#include <cmath>

namespace mnemora {

namespace {

constexpr int kSampleRate = 44100;

// Decibels of the samples' loudness, 0 at full scale; very low for silence.
double decibelsOf(const QByteArray& bytes, const QAudioFormat& format) {
    double sum = 0.0;
    qsizetype count = 0;
    if (format.sampleFormat() == QAudioFormat::Float) {
        const auto* samples = reinterpret_cast<const float*>(bytes.constData());
        count = bytes.size() / qsizetype(sizeof(float));
        for (qsizetype i = 0; i < count; ++i) {
            sum += double(samples[i]) * double(samples[i]);
        }
    } else if (format.sampleFormat() == QAudioFormat::Int16) {
        const auto* samples = reinterpret_cast<const qint16*>(bytes.constData());
        count = bytes.size() / qsizetype(sizeof(qint16));
        for (qsizetype i = 0; i < count; ++i) {
            const double v = samples[i] / 32768.0;
            sum += v * v;
        }
    }
    if (count == 0 || sum <= 0.0) {
        return -160.0;
    }
    return 20.0 * std::log10(std::sqrt(sum / double(count)));
}

QString temporaryClipPath() {
    return QDir(QDir::tempPath())
        .filePath(QStringLiteral("mn-rec-%1.m4a")
                      .arg(QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper()));
}

} // namespace

struct QtAudioRecorder::Session {
    QMediaCaptureSession capture;
    std::unique_ptr<QAudioInput> input;
    std::unique_ptr<QMediaRecorder> recorder;
    std::unique_ptr<QAudioSource> levelSource;
    QIODevice* levelStream = nullptr; // owned by `levelSource`
    QString path;

    ~Session() {
        if (levelSource) {
            levelSource->stop();
        }
    }
};

QtAudioRecorder::QtAudioRecorder(QObject* parent)
    : AudioRecorder(parent) {
    tickTimer_.setInterval(kTickInterval);
    meterTimer_.setInterval(kMeterInterval);
    connect(&tickTimer_, &QTimer::timeout, this, &QtAudioRecorder::tick);
    connect(&meterTimer_, &QTimer::timeout, this, &QtAudioRecorder::meter);
}

QtAudioRecorder::~QtAudioRecorder() {
    if (session_) {
        cancel();
    }
}

std::optional<QAudioDevice> QtAudioRecorder::inputDevice() {
    const QList<QAudioDevice> inputs = QMediaDevices::audioInputs();
    if (inputs.isEmpty()) {
        return std::nullopt;
    }
    const QAudioDevice preferred = QMediaDevices::defaultAudioInput();
    for (const QAudioDevice& input : inputs) {
        if (input.id() == preferred.id()) {
            return input;
        }
    }
    return inputs.first();
}

MicStatus QtAudioRecorder::authorizationStatus() const {
    return inputDevice() ? MicStatus::authorized : MicStatus::denied;
}

bool QtAudioRecorder::openSettings() {
    return QProcess::startDetached(QStringLiteral("gnome-control-center"),
                                   {QStringLiteral("sound")});
}

void QtAudioRecorder::start() {
    if (isRecording()) {
        return;
    }
    // With no input the platform would record a silent file without a word: say so instead.
    const std::optional<QAudioDevice> device = inputDevice();
    if (!device) {
        setError(QStringLiteral("No microphone is connected."));
        return;
    }
    auto session = std::make_shared<Session>();
    session->path = temporaryClipPath();
    session->input = std::make_unique<QAudioInput>(*device);
    session->recorder = std::make_unique<QMediaRecorder>();
    session->capture.setAudioInput(session->input.get());
    session->capture.setRecorder(session->recorder.get());
    QMediaFormat format(QMediaFormat::Mpeg4Audio);
    format.setAudioCodec(QMediaFormat::AudioCodec::AAC);
    session->recorder->setMediaFormat(format);
    session->recorder->setAudioSampleRate(kSampleRate);
    session->recorder->setAudioChannelCount(1);
    session->recorder->setQuality(QMediaRecorder::NormalQuality);
    session->recorder->setOutputLocation(QUrl::fromLocalFile(session->path));
    session->recorder->record();
    if (session->recorder->error() != QMediaRecorder::NoError ||
        session->recorder->recorderState() != QMediaRecorder::RecordingState) {
        const QString words = session->recorder->errorString();
        session->recorder->stop();
        QFile::remove(session->path);
        setError(words.isEmpty() ? QStringLiteral("QMediaRecorder refused to start") : words);
        return;
    }
    QAudioFormat levelFormat;
    levelFormat.setSampleRate(kSampleRate);
    levelFormat.setChannelCount(1);
    levelFormat.setSampleFormat(QAudioFormat::Int16);
    if (!device->isFormatSupported(levelFormat)) {
        levelFormat = device->preferredFormat();
    }
    session->levelSource = std::make_unique<QAudioSource>(*device, levelFormat);
    session->levelStream = session->levelSource->start();
    session_ = std::move(session);
    setRecording(QDateTime::currentDateTimeUtc());
    tickTimer_.start();
    meterTimer_.start();
}

void QtAudioRecorder::tick() {
    if (isRecording() && startedAt()) {
        setElapsedSeconds(int(startedAt()->secsTo(QDateTime::currentDateTimeUtc())));
    }
}

void QtAudioRecorder::meter() {
    if (!session_ || !isRecording() || session_->levelStream == nullptr) {
        return;
    }
    const QByteArray bytes = session_->levelStream->readAll();
    if (bytes.isEmpty()) {
        return;
    }
    setLevel(levelOfDecibels(decibelsOf(bytes, session_->levelSource->format())));
}

void QtAudioRecorder::teardown() {
    tickTimer_.stop();
    meterTimer_.stop();
    session_.reset();
    setIdle();
}

QCoro::Task<std::optional<RecordedClip>> QtAudioRecorder::stop() {
    if (!session_) {
        setIdle();
        co_return std::nullopt;
    }
    std::shared_ptr<Session> session = session_;
    const double duration = double(session->recorder->duration()) / 1000.0;
    session->recorder->stop();
    teardown();
    QCoro::Task<std::optional<RecordedClip>> finishing = finish(session, duration);
    co_return co_await finishing;
}

QCoro::Task<> QtAudioRecorder::drain(std::shared_ptr<Session> session) {
    // The file is complete only once the pipeline has drained; a stuck one is given up after 3 s.
    for (int i = 0; i < 60 && session->recorder->recorderState() != QMediaRecorder::StoppedState;
         ++i) {
        QCoro::Task<> waiting = QCoro::sleepFor(std::chrono::milliseconds(50));
        co_await waiting;
    }
}

QCoro::Task<std::optional<RecordedClip>> QtAudioRecorder::finish(std::shared_ptr<Session> session,
                                                                 double duration) {
    QCoro::Task<> draining = drain(session);
    co_await draining;
    QFile file(session->path);
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    file.close();
    QFile::remove(session->path);
    if (bytes.isEmpty()) {
        co_return std::nullopt;
    }
    co_return RecordedClip{bytes, duration};
}

QCoro::Task<> QtAudioRecorder::discard(std::shared_ptr<Session> session) {
    QCoro::Task<> draining = drain(session);
    co_await draining;
    // The pipeline may have written its last bytes after the stop.
    QFile::remove(session->path);
}

void QtAudioRecorder::cancel() {
    std::shared_ptr<Session> session = session_;
    teardown();
    if (!session) {
        return;
    }
    session->recorder->stop();
    QFile::remove(session->path);
    // Started and left: it holds only the session, which goes when the file is gone.
    discard(std::move(session));
}

} // namespace mnemora
