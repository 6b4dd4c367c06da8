// A small window that plays audio files, one after another without a gap. Qt's event loop carries the library's main queue, through which delegates
// are called.
#include <BRAQAudio/BRAQAudio.h>

#include <QApplication>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QSocketNotifier>
#include <QStringList>
#include <QStyle>
#include <QTime>
#include <QTimer>
#include <QWidget>

#include <iostream>
#include <memory>
#include <utility>

namespace {

class Window : public QWidget {
  public:
    Window(std::shared_ptr<BRAQExtendedAudioFilePlayer> player, QStringList next);
    ~Window() override;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Called by the player, which finds them by their names.
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
    void audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);

  private:
    void showFile();
    void setNextFile();
    void togglePlaying();
    void look();

    const std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer;
    QStringList mNext; // files that have not been heard yet
    QPushButton mButton{this};
    QSlider mPosition{Qt::Horizontal, this}; // milliseconds
    QLabel mTime{this};
    QTimer mTimer{this};
};

Window::Window(std::shared_ptr<BRAQExtendedAudioFilePlayer> player, QStringList next)
    : mPlayer(std::move(player)), mNext(std::move(next)) {
    mPlayer->setDelegate(this);
    mPlayer->outputAudioUnit()->setTransitionTime(8.0); // milliseconds; without it, pauses and seeks click
    mPosition.setPageStep(5000);
    mPosition.setMinimumWidth(300);
    auto* const row = new QHBoxLayout(this); // the widget owns it
    row->addWidget(&mButton);
    row->addWidget(&mPosition);
    row->addWidget(&mTime);

    connect(&mButton, &QPushButton::clicked, this, &Window::togglePlaying);
    // Emitted for user actions only, not when the position follows the playback.
    connect(&mPosition, &QSlider::actionTriggered, this,
            [this] { mPlayer->setCurrentTime(mPosition.sliderPosition()); });
    connect(&mTimer, &QTimer::timeout, this, &Window::look);
    mTimer.start(40);
    showFile();
    setNextFile();
    togglePlaying();
}

Window::~Window() {
    mPlayer->setDelegate(nullptr);
    mPlayer->invalidate(); // until then it keeps itself alive
}

void Window::audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
    player->stopFilePlaying();
    player->setCurrentTime(0.0);
}

void Window::audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
    showFile();
    setNextFile();
}

void Window::showFile() {
    mPosition.setRange(0, static_cast<int>(mPlayer->maxTime()));
    setWindowTitle(QFileInfo(QFile::decodeName(mPlayer->audioFile()->url()->path().c_str())).fileName());
}

// Those that cannot be opened are left out.
void Window::setNextFile() {
    bool isSet = false;
    while (!isSet && !mNext.isEmpty()) {
        const QString path = mNext.takeFirst();
        std::shared_ptr<NSError> error;
        isSet = mPlayer->setNextFileURL(NSURL::fileURLWithPath(QFile::encodeName(path).toStdString()), &error);
        if (!isSet) {
            std::cerr << path.toStdString() << ": " << error->localizedDescription() << "\n";
        }
    }
}

void Window::togglePlaying() {
    if (mPlayer->isPlaying()) {
        mPlayer->pausePlaying();
    } else {
        mPlayer->startFilePlaying();
    }
    look();
}

// Also shows that a removed device no longer plays.
void Window::look() {
    const auto icon = mPlayer->isPlaying() ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay;
    mButton.setIcon(style()->standardIcon(icon));
    const auto time = static_cast<int>(mPlayer->currentTime());
    if (!mPosition.isSliderDown()) {
        mPosition.setValue(time);
    }
    mTime.setText(QTime::fromMSecsSinceStartOfDay(time).toString("m:ss"));
}

} // namespace

int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    QStringList paths;
    for (int argument = 1; argument < argc; ++argument) {
        paths << QFile::decodeName(argv[argument]);
    }
    if (paths.isEmpty()) {
        paths = QFileDialog::getOpenFileNames(nullptr, "Open Audio Files");
    }
    if (paths.isEmpty()) {
        return 0;
    }
    const QString path = paths.takeFirst();
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(QFile::encodeName(path).toStdString(), nullptr);
    if (player == nullptr) { // the log says why
        QMessageBox::critical(nullptr, "Player", path + " cannot be played.");
        return 1;
    }
    const QSocketNotifier notifier(BRAQMainQueue::mainQueue().fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [] { BRAQMainQueue::mainQueue().drain(); });

    Window window(player, paths);
    const QShortcut quit(QKeySequence::Quit, &window, [&] { window.close(); });
    window.show();
    return QApplication::exec();
}
