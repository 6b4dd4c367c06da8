// A small window that plays an audio file. Qt's event loop carries the library's main queue, through which delegates
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
#include <QStyle>
#include <QTime>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <utility>

namespace {

class Window : public QWidget {
  public:
    explicit Window(std::shared_ptr<BRAQExtendedAudioFilePlayer> player);
    ~Window() override;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    // Called by the player, which finds it by its name.
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);

  private:
    void togglePlaying();
    void look();

    const std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer;
    QPushButton mButton{this};
    QSlider mPosition{Qt::Horizontal, this}; // milliseconds
    QLabel mTime{this};
    QTimer mTimer{this};
};

Window::Window(std::shared_ptr<BRAQExtendedAudioFilePlayer> player) : mPlayer(std::move(player)) {
    mPlayer->setDelegate(this);
    mPosition.setRange(0, static_cast<int>(mPlayer->maxTime()));
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
    const QString path =
        argc > 1 ? QFile::decodeName(argv[1]) : QFileDialog::getOpenFileName(nullptr, "Open an Audio File");
    if (path.isEmpty()) {
        return 0;
    }
    const auto player = BRAQExtendedAudioFilePlayer::initWithFilename(QFile::encodeName(path).toStdString(), nullptr);
    if (player == nullptr) { // the log says why
        QMessageBox::critical(nullptr, "Player", path + " cannot be played.");
        return 1;
    }
    const QSocketNotifier notifier(BRAQMainQueue::mainQueue().fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [] { BRAQMainQueue::mainQueue().drain(); });

    Window window(player);
    const QShortcut quit(QKeySequence::Quit, &window, [&] { window.close(); });
    window.setWindowTitle(QFileInfo(path).fileName());
    window.show();
    return QApplication::exec();
}
