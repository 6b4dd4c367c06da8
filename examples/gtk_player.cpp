// A window that plays audio files, one after another without a gap: open and drop, play and pause, seek, speed, volume, levels.
// GLib's main loop carries the library's main queue, through which delegates are called.
#include <BRAQAudio/BRAQAudio.h>

// Later versions deprecate the file dialog used here.
#define GDK_VERSION_MIN_REQUIRED GDK_VERSION_4_8
#include <glib-unix.h>
#include <gtk/gtk.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <exception>
#include <functional>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr std::array speeds = {0.5F, 0.75F, 1.0F, 1.25F, 1.5F, 2.0F, -1.0F};
constexpr std::array<const char*, speeds.size() + 1> speedNames = {"0.5×", "0.75×", "1×",       "1.25×",
                                                                   "1.5×", "2×",    "Backwards"};
constexpr guint usualSpeed = 2;
constexpr double quietestVolume = -40.0; // decibels; inaudible there
constexpr double quietestLevel = -60.0;  // decibels, where the scale begins
constexpr double fallOfBars = 1.5;       // decibels between two updates
constexpr int updatesThatPeaksAreHeld = 40;
constexpr guint millisecondsBetween = 40; // between two updates of position and levels

std::string timeText(double milliseconds) {
    const auto seconds = static_cast<long>(milliseconds / 1000.0);
    const std::string rest = std::to_string(seconds % 60);
    return std::to_string(seconds / 60) + (rest.size() < 2 ? ":0" : ":") + rest;
}

std::string urlOf(GFile* file) {
    const std::unique_ptr<char, decltype(&g_free)> url(g_file_get_uri(file), &g_free);
    return url.get();
}

std::string nameOf(const std::string& url) {
    GFile* const file = g_file_new_for_uri(url.c_str());
    const std::unique_ptr<char, decltype(&g_free)> name(g_file_get_basename(file), &g_free);
    g_object_unref(file);
    return name.get();
}

GtkWidget* label(const char* styleClass) {
    GtkWidget* const made = gtk_label_new(nullptr);
    gtk_widget_add_css_class(made, styleClass);
    return made;
}

void setKey(GtkApplication* application, const char* action, const char* key) {
    const std::array<const char*, 2> keys = {key, nullptr};
    gtk_application_set_accels_for_action(application, action, keys.data());
}

GtkWidget* box(GtkOrientation orientation, int spacing, std::initializer_list<GtkWidget*> children) {
    GtkWidget* const made = gtk_box_new(orientation, spacing);
    for (GtkWidget* const child : children) {
        gtk_box_append(GTK_BOX(made), child);
    }
    return made;
}

// A bar for each channel and the highest level of the last moments, over a scale in decibels.
class LevelMeter {
  public:
    LevelMeter() {
        const auto draw = +[](GtkDrawingArea* area, cairo_t* to, int width, int /*height*/, gpointer self) {
            static_cast<LevelMeter*>(self)->draw(area, to, width);
        };
        gtk_drawing_area_set_draw_func(GTK_DRAWING_AREA(mArea), draw, this, nullptr);
        setChannels(2);
    }
    LevelMeter(const LevelMeter&) = delete;
    LevelMeter& operator=(const LevelMeter&) = delete;

    GtkWidget* widget() const { return mArea; }
    void setChannels(std::size_t channels) {
        mBars.assign(channels, {});
        gtk_widget_set_size_request(mArea, -1, static_cast<int>(channels) * distance + heightOfScale);
        gtk_widget_queue_draw(mArea);
    }
    void clear() { setChannels(mBars.size()); }
    // Bars jump to the highest sample since the last update, which is linear here, and fall slowly.
    template <class LevelOf>
    void update(LevelOf levelOf) {
        for (std::size_t channel = 0; channel < mBars.size(); ++channel) {
            Bar& bar = mBars[channel];
            const double level = 20.0 * std::log10(levelOf(static_cast<UInt32>(channel)));
            bar.level = std::max({level, bar.level - fallOfBars, quietestLevel});
            if (level >= bar.peak || --bar.held < 0) {
                bar.peak = bar.level;
                bar.held = updatesThatPeaksAreHeld;
            }
        }
        gtk_widget_queue_draw(mArea);
    }

  private:
    struct Bar {
        double level = quietestLevel; // decibels
        double peak = quietestLevel;
        int held = 0; // updates
    };
    static constexpr int thickness = 8;
    static constexpr int distance = thickness + 3;
    static constexpr int heightOfScale = 16;

    static double placeOf(double decibels, int width) {
        return std::clamp(1.0 - decibels / quietestLevel, 0.0, 1.0) * width;
    }
    static void fill(cairo_t* to, double left, double top, double right) {
        cairo_rectangle(to, left, top, right - left, thickness);
        cairo_fill(to);
    }

    void draw(GtkDrawingArea* area, cairo_t* to, int width) const {
        GdkRGBA text;
        gtk_style_context_get_color(gtk_widget_get_style_context(GTK_WIDGET(area)), &text);
        double top = 0.0;
        for (const Bar& bar : mBars) {
            cairo_set_source_rgba(to, text.red, text.green, text.blue, 0.12);
            fill(to, 0.0, top, width);
            cairo_set_source_rgb(to, 0.15, 0.64, 0.41);
            fill(to, 0.0, top, placeOf(bar.level, width));
            if (bar.peak >= 0.0) {
                cairo_set_source_rgb(to, 0.88, 0.11, 0.14); // full scale
            }
            if (bar.peak > quietestLevel) {
                const double place = std::max(placeOf(bar.peak, width), 3.0);
                fill(to, place - 3.0, top, place);
            }
            top += distance;
        }
        drawScale(to, width, top, text);
    }
    static void drawScale(cairo_t* to, int width, double top, const GdkRGBA& text) {
        constexpr double sizeOfText = 10.0;
        cairo_set_source_rgba(to, text.red, text.green, text.blue, 0.7);
        cairo_set_font_size(to, sizeOfText);
        for (int decibels = static_cast<int>(quietestLevel); decibels <= 0; decibels += 10) {
            const std::string number = std::to_string(decibels);
            cairo_text_extents_t size;
            cairo_text_extents(to, number.c_str(), &size);
            const double place = placeOf(decibels, width);
            cairo_rectangle(to, std::min(place, width - 1.0), top - 1.0, 1.0, 3.0);
            cairo_fill(to);
            cairo_move_to(to, std::clamp(place - size.x_advance / 2.0, 0.0, width - size.x_advance),
                          top + 3.0 + sizeOfText);
            cairo_show_text(to, number.c_str());
        }
    }

    GtkWidget* const mArea = gtk_drawing_area_new();
    std::vector<Bar> mBars;
};

class Window {
  public:
    explicit Window(GtkApplication* application);
    ~Window();
    Window(const Window&) = delete;
    Window& operator=(const Window&) = delete;

    GtkWindow* widget() const { return mWindow; }
    /// Plays the first file, and then the others.
    void open(std::vector<std::string> urls);
    void audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
    void audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
    void audioFilePlayerDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
                                        const std::shared_ptr<BRAQAudioDevice>& device);
    void audioFilePlayerDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player);
    void audioFilePlayerDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player,
                                     const std::shared_ptr<BRAQAudioDevice>& device);

  private:
    void layOut();
    GtkWidget* makeControls();
    template <auto operation>
    GSimpleAction* addAction(const char* name);
    void takeDrops();
    template <auto operation>
    void connect(gpointer object, const char* signal);
    void attempt(const std::function<void()>& step);

    void chooseFile();
    void makePlayer(double time);
    void letPlayerGo();
    void setNextFile();

    void togglePlaying();
    void play();
    void pause();
    void seek(double time);
    void setSpeed();
    void setVolume();
    bool isBackwards() const;
    double beginning() const;

    void showPlayer();
    void showNext();
    void showPaused();
    void showPosition();
    void showLevels();
    void say(const std::string& message);

    GtkWindow* mWindow;
    GtkWidget* mName = label("title-2");
    GtkWidget* mFacts = label("dim-label");
    GtkWidget* mNextName = label("dim-label");
    LevelMeter mLevels;
    GtkWidget* mElapsed = label("numeric");
    GtkWidget* mLength = label("numeric");
    GtkWidget* mPosition = gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 0.0, 1.0, 1.0); // milliseconds
    GtkWidget* mPlayButton = gtk_button_new_from_icon_name("media-playback-start-symbolic");
    GtkWidget* mSpeed = gtk_drop_down_new_from_strings(speedNames.data());
    GtkWidget* mVolume = gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, quietestVolume, 0.0, 1.0); // decibels
    GtkWidget* mMessage = label("error");
    GSimpleAction* mPlayAction = nullptr;     // the window's
    GtkFileChooserNative* mChooser = nullptr; // owned
    guint mTimer = 0;                         // runs while something plays

    std::shared_ptr<BRAQExtendedAudioFile> mFile;         // that is heard; null until one is opened
    std::vector<std::string> mNext;                       // URLs of those after it
    std::shared_ptr<BRAQExtendedAudioFilePlayer> mPlayer; // null until a file is opened
};

Window::Window(GtkApplication* application) : mWindow(GTK_WINDOW(gtk_application_window_new(application))) {
    layOut();
    addAction<&Window::chooseFile>("open");
    mPlayAction = addAction<&Window::togglePlaying>("play");
    g_simple_action_set_enabled(mPlayAction, FALSE);
    takeDrops();
    connect<&Window::setSpeed>(mSpeed, "notify::selected");
    connect<&Window::setVolume>(mVolume, "value-changed");
    // Emitted for user actions only, not when the position follows the playback.
    const auto seekTo = +[](Window* self, GtkScrollType /*how*/, double time) -> gboolean {
        self->attempt([&] { self->seek(time); });
        return FALSE;
    };
    g_signal_connect_swapped(mPosition, "change-value", G_CALLBACK(seekTo), this);
}

Window::~Window() {
    letPlayerGo();
    g_clear_object(&mChooser);
}

void Window::layOut() {
    GtkWidget* const header = gtk_header_bar_new();
    GtkWidget* const open = gtk_button_new_with_mnemonic("_Open…");
    gtk_actionable_set_action_name(GTK_ACTIONABLE(open), "win.open");
    gtk_header_bar_pack_start(GTK_HEADER_BAR(header), open);
    gtk_window_set_titlebar(mWindow, header);
    gtk_window_set_title(mWindow, "Player");
    gtk_window_set_default_size(mWindow, 480, -1);

    gtk_label_set_ellipsize(GTK_LABEL(mName), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_wrap(GTK_LABEL(mMessage), TRUE);
    gtk_label_set_text(GTK_LABEL(mName), "Nothing is open");
    gtk_label_set_text(GTK_LABEL(mFacts), "Open audio files, or drop them here.");
    gtk_label_set_text(GTK_LABEL(mElapsed), timeText(0.0).c_str());
    gtk_label_set_text(GTK_LABEL(mLength), timeText(0.0).c_str());
    for (GtkWidget* const control : {mPosition, mSpeed, mVolume}) {
        gtk_widget_set_sensitive(control, FALSE);
    }
    gtk_widget_set_visible(mMessage, FALSE);
    gtk_widget_set_visible(mNextName, FALSE);
    gtk_label_set_ellipsize(GTK_LABEL(mNextName), PANGO_ELLIPSIZE_MIDDLE);
    gtk_widget_set_hexpand(mPosition, TRUE);
    gtk_range_set_increments(GTK_RANGE(mPosition), 5000.0, 30000.0);
    GtkWidget* const body =
        box(GTK_ORIENTATION_VERTICAL, 12,
            {mName, mFacts, mLevels.widget(), box(GTK_ORIENTATION_HORIZONTAL, 6, {mElapsed, mPosition, mLength}),
             makeControls(), mNextName, mMessage});
    for (const char* const side : {"margin-top", "margin-bottom", "margin-start", "margin-end"}) {
        g_object_set(body, side, 18, nullptr);
    }
    gtk_window_set_child(mWindow, body);
}

GtkWidget* Window::makeControls() {
    gtk_widget_add_css_class(mPlayButton, "circular");
    gtk_widget_add_css_class(mPlayButton, "suggested-action");
    gtk_widget_set_size_request(mPlayButton, 48, 48);
    gtk_actionable_set_action_name(GTK_ACTIONABLE(mPlayButton), "win.play");
    gtk_drop_down_set_selected(GTK_DROP_DOWN(mSpeed), usualSpeed);
    gtk_widget_set_valign(mSpeed, GTK_ALIGN_CENTER);
    gtk_range_set_value(GTK_RANGE(mVolume), 0.0);
    gtk_widget_set_size_request(mVolume, 120, -1);

    GtkWidget* const controls = gtk_center_box_new();
    gtk_center_box_set_start_widget(GTK_CENTER_BOX(controls), mSpeed);
    gtk_center_box_set_center_widget(GTK_CENTER_BOX(controls), mPlayButton);
    gtk_center_box_set_end_widget(
        GTK_CENTER_BOX(controls),
        box(GTK_ORIENTATION_HORIZONTAL, 0, {gtk_image_new_from_icon_name("audio-volume-high-symbolic"), mVolume}));
    return controls;
}

template <auto operation>
GSimpleAction* Window::addAction(const char* name) {
    GSimpleAction* const action = g_simple_action_new(name, nullptr);
    connect<operation>(action, "activate");
    g_action_map_add_action(G_ACTION_MAP(mWindow), G_ACTION(action)); // owns it then
    g_object_unref(action);
    return action;
}

// Files that are dropped anywhere in the window are opened.
void Window::takeDrops() {
    GtkDropTarget* const target = gtk_drop_target_new(GDK_TYPE_FILE_LIST, GDK_ACTION_COPY);
    const auto drop = +[](Window* self, const GValue* value, double /*x*/, double /*y*/) -> gboolean {
        GSList* const files = gdk_file_list_get_files(static_cast<GdkFileList*>(g_value_get_boxed(value)));
        std::vector<std::string> urls;
        for (const GSList* file = files; file != nullptr; file = file->next) {
            urls.push_back(urlOf(static_cast<GFile*>(file->data)));
        }
        g_slist_free(files);
        if (urls.empty()) {
            return FALSE;
        }
        self->open(std::move(urls));
        return TRUE;
    };
    g_signal_connect_swapped(target, "drop", G_CALLBACK(drop), this);
    gtk_widget_add_controller(GTK_WIDGET(mWindow), GTK_EVENT_CONTROLLER(target)); // owns it then
}

// Connects a signal to an operation of the window.
template <auto operation>
void Window::connect(gpointer object, const char* signal) {
    const auto call = +[](Window* self) { self->attempt([self] { (self->*operation)(); }); };
    g_signal_connect_swapped(object, signal, G_CALLBACK(call), this);
}

// An exception must not pass through GLib; the user is told instead.
void Window::attempt(const std::function<void()>& step) {
    try {
        step();
    } catch (const std::exception& failure) {
        say(failure.what());
    }
}

void Window::chooseFile() {
    g_clear_object(&mChooser);
    mChooser = gtk_file_chooser_native_new("Open Audio Files", mWindow, GTK_FILE_CHOOSER_ACTION_OPEN, nullptr, nullptr);
    gtk_file_chooser_set_select_multiple(GTK_FILE_CHOOSER(mChooser), TRUE);
    const auto respond = +[](Window* self, int response) {
        if (response == GTK_RESPONSE_ACCEPT) {
            GListModel* const files = gtk_file_chooser_get_files(GTK_FILE_CHOOSER(self->mChooser));
            std::vector<std::string> urls;
            for (guint i = 0; i < g_list_model_get_n_items(files); ++i) {
                auto* const file = static_cast<GFile*>(g_list_model_get_item(files, i));
                urls.push_back(urlOf(file));
                g_object_unref(file);
            }
            g_object_unref(files);
            self->open(std::move(urls));
        }
    };
    g_signal_connect_swapped(mChooser, "response", G_CALLBACK(respond), this);
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(mChooser));
}

// If the first file cannot be opened, what is open plays on.
void Window::open(std::vector<std::string> urls) {
    std::shared_ptr<NSError> error;
    const auto opened = BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::urlWithString(urls.front()), &error);
    if (opened == nullptr) {
        say(nameOf(urls.front()) + " cannot be played: " + error->localizedDescription() + ".");
        return;
    }
    attempt([&] {
        mFile = opened;
        mNext.assign(urls.begin() + 1, urls.end());
        makePlayer(beginning());
        play();
        setNextFile();
    });
}

// Those that cannot be opened are left out. Backwards, the next one begins at its end, too.
void Window::setNextFile() {
    mPlayer->setNextAudioFile(nullptr);
    BRAQExtendedAudioFileOptions options;
    options.clientDataFormat = mPlayer->outputAudioUnit()->streamDescription();
    for (; !mNext.empty(); mNext.erase(mNext.begin())) {
        std::shared_ptr<NSError> error;
        const auto next =
            BRAQExtendedAudioFile::initForPlaybackWithFileURL(NSURL::urlWithString(mNext.front()), options, &error);
        if (next != nullptr) {
            next->setReverse(isBackwards());
            mPlayer->setNextAudioFile(next);
            break;
        }
        say(nameOf(mNext.front()) + " cannot be played: " + error->localizedDescription() + ".");
    }
    showNext();
}

// Called by the player, which finds the operation by its name.
void Window::audioFilePlayerDidBeginNextFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
    attempt([&] {
        mFile = player->audioFile();
        mNext.erase(mNext.begin());
        showPlayer();
        setNextFile();
    });
}

// The player belongs to the format of its first file, so another choice of files needs another player. Without a device, it
// goes where the user leads it.
void Window::makePlayer(double time) {
    letPlayerGo();
    showPaused();
    mPlayer = BRAQExtendedAudioFilePlayer::initWithAudioFile(mFile, nullptr);
    mPlayer->outputAudioUnit()->setTransitionTime(8.0); // milliseconds; without it, pauses and seeks click
    mPlayer->setDelegate(this);
    mPlayer->setCurrentTime(time);
    setSpeed();
    setVolume();
    showPlayer();
}

// The widgets may be destroyed already.
void Window::letPlayerGo() {
    g_clear_handle_id(&mTimer, g_source_remove);
    if (mPlayer != nullptr) {
        mPlayer->setDelegate(nullptr);
        mPlayer->invalidate(); // until then it keeps itself alive
        mPlayer = nullptr;
    }
}

void Window::audioFilePlayerDeviceDidChange(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/,
                                            const std::shared_ptr<BRAQAudioDevice>& /*device*/) {
    attempt([&] { showPlayer(); });
}

void Window::audioFilePlayerDeviceIsGone(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/) {
    say("The device is gone. Playing goes on when there is another one.");
}

void Window::audioFilePlayerDeviceIsBack(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& /*player*/,
                                         const std::shared_ptr<BRAQAudioDevice>& /*device*/) {
    attempt([&] {
        say("");
        showPlayer();
    });
}

void Window::togglePlaying() {
    if (mTimer != 0) {
        pause();
    } else {
        play();
    }
}

void Window::play() {
    mPlayer->startFilePlaying();
    if (!mPlayer->isPlaying()) {
        say("The device does not play.");
        return;
    }
    say("");
    const auto look = +[](gpointer self) -> gboolean {
        static_cast<Window*>(self)->showPosition();
        static_cast<Window*>(self)->showLevels();
        return G_SOURCE_CONTINUE;
    };
    mTimer = g_timeout_add(millisecondsBetween, look, this);
    gtk_button_set_icon_name(GTK_BUTTON(mPlayButton), "media-playback-pause-symbolic");
}

void Window::pause() {
    mPlayer->pausePlaying();
    g_clear_handle_id(&mTimer, g_source_remove);
    showPaused();
}

// Called by the player, which finds the operation by its name.
void Window::audioFilePlayerDidReachEndOfFile(const std::shared_ptr<BRAQExtendedAudioFilePlayer>& player) {
    attempt([&] {
        pause();
        player->stopFilePlaying();
        player->setCurrentTime(beginning());
        showPosition();
        if (player->lastError() != nullptr) {
            say("The rest of the file cannot be read.");
        }
    });
}

void Window::seek(double time) {
    if (mPlayer != nullptr) {
        mPlayer->setCurrentTime(std::clamp(time, 0.0, mPlayer->maxTime()));
        showPosition();
    }
}

void Window::setSpeed() {
    if (mPlayer != nullptr) {
        mPlayer->setPlaybackSpeed(speeds[gtk_drop_down_get_selected(GTK_DROP_DOWN(mSpeed))]);
        if (const auto next = mPlayer->nextAudioFile(); next != nullptr && next->reverse() != isBackwards()) {
            setNextFile();
        }
    }
}

void Window::setVolume() {
    if (mPlayer != nullptr) {
        const double volume = gtk_range_get_value(GTK_RANGE(mVolume));
        if (volume > quietestVolume) {
            mPlayer->setPlaybackVolume(volume);
        } else {
            mPlayer->setPlaybackLevel(0.0);
        }
    }
}

bool Window::isBackwards() const { return speeds[gtk_drop_down_get_selected(GTK_DROP_DOWN(mSpeed))] < 0.0F; }

// Where playback begins: at the end if backwards.
double Window::beginning() const { return isBackwards() ? mFile->estimatedDuration() : 0.0; }

void Window::showPlayer() {
    const UInt32 channels = mFile->fileDataFormat().mChannelsPerFrame;
    std::ostringstream facts;
    facts << channels << (channels == 1 ? " channel, " : " channels, ") << mFile->fileDataFormat().mSampleRate / 1000.0
          << " kHz";
    if (const auto device = mPlayer->outputAudioUnit()->presentDevice(); device != nullptr) {
        facts << ", on " << device->deviceName().value_or("a device without a name");
    }
    gtk_label_set_text(GTK_LABEL(mName), nameOf(mFile->url()->absoluteString()).c_str());
    gtk_label_set_text(GTK_LABEL(mFacts), facts.str().c_str());
    gtk_label_set_text(GTK_LABEL(mLength), timeText(mPlayer->maxTime()).c_str());
    gtk_range_set_range(GTK_RANGE(mPosition), 0.0, std::max(mPlayer->maxTime(), 1.0));
    for (GtkWidget* const control : {mPosition, mSpeed, mVolume}) {
        gtk_widget_set_sensitive(control, TRUE);
    }
    g_simple_action_set_enabled(mPlayAction, TRUE);
    mLevels.setChannels(mPlayer->outputAudioUnit()->streamDescription()->channelsPerFrame());
    showPosition();
}

void Window::showNext() {
    gtk_widget_set_visible(mNextName, mNext.empty() ? FALSE : TRUE);
    gtk_label_set_text(GTK_LABEL(mNextName), mNext.empty() ? "" : ("Next: " + nameOf(mNext.front())).c_str());
}

void Window::showPaused() {
    gtk_button_set_icon_name(GTK_BUTTON(mPlayButton), "media-playback-start-symbolic");
    mLevels.clear();
}

void Window::showPosition() {
    const double time = mPlayer->currentTime();
    gtk_range_set_value(GTK_RANGE(mPosition), time);
    gtk_label_set_text(GTK_LABEL(mElapsed), timeText(time).c_str());
}

void Window::showLevels() {
    mLevels.update([this](UInt32 channel) { return mPlayer->outputAudioUnit()->outputLevel(channel); });
}

void Window::say(const std::string& message) {
    gtk_label_set_text(GTK_LABEL(mMessage), message.c_str());
    gtk_widget_set_visible(mMessage, message.empty() ? FALSE : TRUE);
}

// The application, with one window.
struct Program {
    GtkApplication* application;
    std::unique_ptr<Window> window;

    void show() {
        if (window == nullptr) {
            window = std::make_unique<Window>(application);
            const auto letGo = +[](Program* self) { self->window = nullptr; };
            g_signal_connect_swapped(window->widget(), "destroy", G_CALLBACK(letGo), this);
        }
        gtk_window_present(window->widget());
    }
    void open(GFile** files, int count) {
        show();
        std::vector<std::string> urls(static_cast<std::size_t>(count));
        std::transform(files, files + count, urls.begin(), urlOf);
        window->open(std::move(urls));
    }
};

} // namespace

int main(int argc, char** argv) {
    const auto drain = +[](gint /*descriptor*/, GIOCondition /*condition*/, gpointer /*data*/) -> gboolean {
        BRAQMainQueue::mainQueue().drain();
        return G_SOURCE_CONTINUE;
    };
    g_unix_fd_add(BRAQMainQueue::mainQueue().fileDescriptor(), G_IO_IN, drain, nullptr);

    constexpr auto flags = static_cast<GApplicationFlags>(G_APPLICATION_HANDLES_OPEN | G_APPLICATION_NON_UNIQUE);
    Program program{gtk_application_new("org.example.Player", flags), nullptr};
    const auto show = +[](Program* self) { self->show(); };
    const auto open = +[](Program* self, GFile** files, int count) { self->open(files, count); };
    setKey(program.application, "win.open", "<Control>o");
    setKey(program.application, "win.play", "space");
    setKey(program.application, "window.close", "<Control>q");
    g_signal_connect_swapped(program.application, "activate", G_CALLBACK(show), &program);
    g_signal_connect_swapped(program.application, "open", G_CALLBACK(open), &program);
    const int status = g_application_run(G_APPLICATION(program.application), argc, argv);
    g_object_unref(program.application);
    return status;
}
