// A small window that plays audio files, one after another without a gap. Qt's event loop carries the library's main queue,
// through which delegates are called.
#include <BRAQAudio/BRAQAudio.h>

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QKeySequence>
#include <QLabel>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QShortcut>
#include <QSlider>
#include <QSocketNotifier>
#include <QStringList>
#include <QStyle>
#include <QTime>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>
#include <QWidget>

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

namespace {

constexpr double quietestLevel = -60.0; // decibels, where the scale begins
constexpr double fallOfBars = 1.5;      // decibels between two updates
constexpr int updatesThatPeaksAreHeld = 40;
constexpr int millisecondsBetween = 40; // between two updates

// A bar for each channel and the highest level of the last moments, over a scale in decibels.
class LevelMeter : public QWidget {
  public:
    explicit LevelMeter(QWidget* parent) : QWidget(parent) {}

    void setChannels(UInt32 channels) {
        mBars.assign(channels, {});
        setFixedHeight(static_cast<int>(channels) * distance + fontMetrics().height() + 2);
        update();
    }
    // Bars jump to the highest sample since the last look, which is linear, and fall slowly.
    void look(BRAQOutputAudioUnit& unit) {
        for (UInt32 channel = 0; channel < mBars.size(); ++channel) {
            Bar& bar = mBars[channel];
            const double level = 20.0 * std::log10(unit.outputLevel(channel));
            bar.level = std::max({level, bar.level - fallOfBars, quietestLevel});
            if (level >= bar.peak || --bar.held < 0) {
                bar.peak = bar.level;
                bar.held = updatesThatPeaksAreHeld;
            }
        }
        update();
    }

  protected:
    void paintEvent(QPaintEvent* /*event*/) override {
        QPainter painter(this);
        int top = 0;
        for (const Bar& bar : mBars) {
            painter.fillRect(0, top, width(), thickness, palette().midlight());
            painter.fillRect(0, top, placeOf(bar.level), thickness, palette().highlight());
            if (bar.peak > quietestLevel) {
                const QBrush peak = bar.peak >= 0.0 ? QBrush(Qt::red) : palette().highlight(); // red: full scale
                painter.fillRect(std::max(placeOf(bar.peak) - 3, 0), top, 3, thickness, peak);
            }
            top += distance;
        }
        painter.setPen(palette().color(QPalette::WindowText));
        for (int decibels = static_cast<int>(quietestLevel); decibels <= 0; decibels += 20) {
            const QString number = QString::number(decibels);
            const int wide = fontMetrics().horizontalAdvance(number);
            painter.drawText(std::clamp(placeOf(decibels) - wide / 2, 0, width() - wide), top + fontMetrics().ascent(),
                             number);
        }
    }

  private:
    struct Bar {
        double level = quietestLevel; // decibels
        double peak = quietestLevel;
        int held = 0; // updates
    };
    static constexpr int thickness = 6;
    static constexpr int distance = thickness + 2;

    int placeOf(double decibels) const {
        return static_cast<int>(std::clamp(1.0 - decibels / quietestLevel, 0.0, 1.0) * width());
    }

    std::vector<Bar> mBars;
};

class Window : public QWidget {
  public:
    Window();
    ~Window() override;
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    /// Plays the first file that can be opened, and then the others.
    bool open(QStringList paths);

    // Called by the player, which finds them by their names.
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
    void audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);

  protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void letPlayerGo();
    void showFile();
    void setNextFile();
    void togglePlaying();
    void look();

    std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer; // null until a file is opened
    QStringList mNext;                                    // files after the one that follows
    QString mNextName;                                    // of the one that follows
    QPushButton mButton{this};
    QSlider mPosition{Qt::Horizontal, this}; // milliseconds
    QLabel mTime{this};
    QLabel mNextLabel{this};
    LevelMeter mLevels{this};
    QTimer mTimer{this};
};

Window::Window() {
    setAcceptDrops(true);
    mPosition.setPageStep(5000);
    mPosition.setMinimumWidth(300);
    auto* const row = new QHBoxLayout; // the widget owns both
    row->addWidget(&mButton);
    row->addWidget(&mPosition);
    row->addWidget(&mTime);
    auto* const column = new QVBoxLayout(this);
    column->addLayout(row);
    column->addWidget(&mLevels);
    column->addWidget(&mNextLabel);
    column->addStretch();

    connect(&mButton, &QPushButton::clicked, this, &Window::togglePlaying);
    // Emitted for user actions only, not when the position follows the playback.
    connect(&mPosition, &QSlider::actionTriggered, this,
            [this] { mPlayer->setCurrentTime(mPosition.sliderPosition()); });
    connect(&mTimer, &QTimer::timeout, this, &Window::look);
}

Window::~Window() { letPlayerGo(); }

void Window::letPlayerGo() {
    mTimer.stop();
    if (mPlayer != nullptr) {
        mPlayer->setDelegate(nullptr);
        mPlayer->invalidate(); // until then it keeps itself alive
        mPlayer = nullptr;
    }
}

// A player belongs to the format of its first file. Without a device, it goes where the user leads it.
bool Window::open(QStringList paths) {
    while (!paths.isEmpty()) {
        const QString path = paths.takeFirst();
        const auto player =
            BRAQExtendedAudioFilePlayer::initWithFilename(QFile::encodeName(path).toStdString(), nullptr);
        if (player == nullptr) { // the log says why
            QMessageBox::critical(this, "Player", path + " cannot be played.");
            continue;
        }
        letPlayerGo();
        mPlayer = player;
        mNext = std::move(paths);
        mPlayer->setDelegate(this);
        mPlayer->outputAudioUnit()->setTransitionTime(8.0); // milliseconds; without it, pauses and seeks click
        mLevels.setChannels(mPlayer->outputAudioUnit()->streamDescription()->channelsPerFrame());
        mTimer.start(millisecondsBetween);
        setNextFile();
        showFile();
        togglePlaying();
        return true;
    }
    return false;
}

void Window::dragEnterEvent(QDragEnterEvent* event) {
    if (event->mimeData()->hasUrls()) {
        event->acceptProposedAction();
    }
}

void Window::dropEvent(QDropEvent* event) {
    QStringList paths;
    for (const QUrl& url : event->mimeData()->urls()) {
        paths << url.toLocalFile();
    }
    event->acceptProposedAction();
    open(paths);
}

void Window::audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
    player->stopFilePlaying();
    player->setCurrentTime(0.0);
}

void Window::audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
    setNextFile();
    showFile();
}

void Window::showFile() {
    mPosition.setRange(0, static_cast<int>(mPlayer->maxTime()));
    setWindowTitle(QFileInfo(QFile::decodeName(mPlayer->audioFile()->url()->path().c_str())).fileName());
    mNextLabel.setText(mNextName.isEmpty() ? QString() : "Next: " + mNextName);
    mNextLabel.setVisible(!mNextName.isEmpty());
}

// Those that cannot be opened are left out.
void Window::setNextFile() {
    for (mNextName.clear(); mNextName.isEmpty() && !mNext.isEmpty();) {
        const QString path = mNext.takeFirst();
        std::shared_ptr<NSError> error;
        if (mPlayer->setNextFileURL(NSURL::fileURLWithPath(QFile::encodeName(path).toStdString()), &error)) {
            mNextName = QFileInfo(path).fileName();
        } else {
            qWarning("%s: %s", qUtf8Printable(path), error->localizedDescription().c_str());
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

// Also shows that it has stopped by itself.
void Window::look() {
    const auto icon = mPlayer->isPlaying() ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay;
    mButton.setIcon(style()->standardIcon(icon));
    const auto time = static_cast<int>(mPlayer->currentTime());
    if (!mPosition.isSliderDown()) {
        mPosition.setValue(time);
    }
    mTime.setText(QTime::fromMSecsSinceStartOfDay(time).toString("m:ss"));
    mLevels.look(*mPlayer->outputAudioUnit());
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
    const QSocketNotifier notifier(BRAQMainQueue::mainQueue().fileDescriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [] { BRAQMainQueue::mainQueue().drain(); });

    Window window;
    if (!window.open(paths)) {
        return 1;
    }
    const QShortcut quit(QKeySequence::Quit, &window, [&] { window.close(); });
    window.show();
    return QApplication::exec();
}
