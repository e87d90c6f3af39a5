#include "Picker/PasswordPickerPanel_linux.h"

#include "Runtime/Check.h"
#include "Runtime/Logger.h"
#include "Runtime/ModifierFlags.h"
#include "Runtime/X11Key.h"

#include <QAbstractNativeEventFilter>
#include <QAccessible>
#include <QAccessibleWidget>
#include <QCursor>
#include <QFrame>
#include <QGuiApplication>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QStyleOptionButton>
#include <QToolTip>
#include <QVBoxLayout>
#include <QWindow>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <xcb/xcb.h>

// Xlib's macros (KeyPress, FocusIn, None…) clash with Qt's names, so its headers come last and
// the code below names X11 things by their xcb spelling where it can.
#include <X11/XKBlib.h>
#include <X11/extensions/XInput2.h>
#include <X11/keysym.h>

namespace kestrelle {

namespace {

const Logger logger{"PickerPanel"};

// --- X keys to picker keys, in one place. -------------------------------------------------------

// Qt's view of a click's modifiers, in the core's terms: Alt stands for Option and Super
// (Qt's "Meta") for Command.
std::uint64_t modifierFlags(Qt::KeyboardModifiers modifiers) {
    return (modifiers & Qt::ShiftModifier ? modifier::shift : 0) |
           (modifiers & Qt::ControlModifier ? modifier::control : 0) |
           (modifiers & Qt::AltModifier ? modifier::option : 0) |
           (modifiers & Qt::MetaModifier ? modifier::command : 0);
}

// The character a keysym stands for: Latin-1 and Unicode keysyms, and the keypad's digits.
std::optional<std::string> keysymCharacters(KeySym keysym) {
    char32_t scalar = 0;
    if (keysym >= XK_KP_0 && keysym <= XK_KP_9) {
        scalar = U'0' + static_cast<char32_t>(keysym - XK_KP_0);
    } else if ((keysym >= 0x20 && keysym <= 0x7e) || (keysym >= 0xa0 && keysym <= 0xff)) {
        scalar = static_cast<char32_t>(keysym);
    } else if ((keysym & 0xff000000) == 0x01000000) {
        scalar = static_cast<char32_t>(keysym & 0x00ffffff);
    } else {
        return std::nullopt;
    }
    return QString::fromUcs4(&scalar, 1).toStdString();
}

// A key press as the picker sees it. Its characters are those with no modifier held, in the
// event's keyboard group, with Num Lock (Mod2 in every common keymap) as it is.
PasswordPickerKeyEvent pickerKeyEvent(Display* display, xcb_keycode_t keycode,
                                      std::uint16_t xState) {
    KeySym keysym = 0;
    unsigned consumed = 0;
    const unsigned unmodified =
        XkbBuildCoreState(xState & XCB_MOD_MASK_2, XkbGroupForCoreState(xState));
    XkbLookupKeySym(display, keycode, unmodified, &consumed, &keysym);
    return {
        .key = keyFromX11Keysym(static_cast<std::uint32_t>(keysym)),
        .characters = keysymCharacters(keysym),
        .modifierFlags = modifierFlags(x11Modifiers, xState),
    };
}

// --- Drawing. -----------------------------------------------------------------------------------

QRectF toQt(const Rect& rect) {
    return {rect.x, rect.y, rect.width, rect.height};
}
Rect fromQt(const QRect& rect) {
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()),
            static_cast<double>(rect.width()), static_cast<double>(rect.height())};
}

// The document: rows with their copy buttons, the hint and the Configure button, laid out by the
// content. A click counts where it is released on what it was pressed on, as with buttons.
class DocumentView final : public QWidget {
public:
    std::shared_ptr<const PasswordPickerContent> content;

protected:
    void paintEvent(QPaintEvent*) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    bool event(QEvent* event) override;

private:
    enum class Part { row, copyButton, configureButton };
    struct Target {
        Part part;
        int row = 0;
        friend bool operator==(const Target&, const Target&) = default;
    };

    std::optional<Target> targetAt(QPointF point) const;
    void drawCopyGlyph(QPainter& painter, const QRectF& button, const QColor& colour) const;

    std::optional<Target> pressed_;
};

std::optional<DocumentView::Target> DocumentView::targetAt(QPointF point) const {
    if (!content) {
        return std::nullopt;
    }
    const auto layout = content->layout(width());
    for (std::size_t index = 0; index < layout.rows.size(); ++index) {
        const int row = static_cast<int>(index);
        if (toQt(layout.copyButtons[index]).contains(point)) {
            return Target{Part::copyButton, row};
        }
        if (toQt(layout.rows[index]).contains(point)) {
            return Target{Part::row, row};
        }
    }
    if (layout.configureButton && toQt(*layout.configureButton).contains(point)) {
        return Target{Part::configureButton};
    }
    return std::nullopt;
}

void DocumentView::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette().window());
    if (!content) {
        return;
    }
    const auto layout = content->layout(width());
    const auto& rows = content->rows();
    for (std::size_t index = 0; index < rows.size(); ++index) {
        const QRectF row = toQt(layout.rows[index]);
        const bool highlighted =
            content->tone(static_cast<int>(index)) == PasswordPickerContent::Tone::highlighted;
        if (highlighted) {
            painter.setPen(Qt::NoPen);
            painter.setBrush(palette().highlight());
            painter.drawRoundedRect(row, 6, 6);
        }
        painter.setPen(highlighted ? palette().highlightedText().color()
                                   : palette().windowText().color());
        const QRectF text = row.adjusted(6, 0, -6, 0);
        painter.drawText(text, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         fontMetrics().elidedText(QString::fromStdString(rows[index].title),
                                                  Qt::ElideRight, static_cast<int>(text.width())));
        drawCopyGlyph(painter, toQt(layout.copyButtons[index]),
                      highlighted ? palette().highlight().color()
                                  : palette().placeholderText().color());
    }
    if (layout.hint) {
        QFont small = font();
        small.setPointSizeF(small.pointSizeF() * 0.85);
        painter.setFont(small);
        painter.setPen(palette().placeholderText().color());
        const QRectF hint = toQt(*layout.hint);
        painter.drawText(hint, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                         QFontMetrics(small).elidedText(
                             QString::fromUtf8(PasswordPickerContent::hintText.data(),
                                               PasswordPickerContent::hintText.size()),
                             Qt::ElideRight, static_cast<int>(hint.width())));
        painter.setFont(font());
    }
    if (layout.configureButton) {
        QStyleOptionButton button;
        button.initFrom(this);
        button.rect = toQt(*layout.configureButton).toRect();
        button.text = QString::fromUtf8(PasswordPickerContent::configureTitle.data(),
                                        PasswordPickerContent::configureTitle.size());
        button.state |= pressed_ && pressed_->part == Part::configureButton ? QStyle::State_Sunken
                                                                            : QStyle::State_Raised;
        style()->drawControl(QStyle::CE_PushButton, &button, &painter, this);
    }
}

// Two overlapping sheets, the usual picture of a copy.
void DocumentView::drawCopyGlyph(QPainter& painter, const QRectF& button,
                                 const QColor& colour) const {
    painter.setPen(QPen(colour, 1.5));
    painter.setBrush(palette().window());
    const QRectF sheet(0, 0, 9, 11);
    painter.drawRoundedRect(sheet.translated(button.center() - QPointF(6, 7)), 2, 2);
    painter.drawRoundedRect(sheet.translated(button.center() - QPointF(3, 4)), 2, 2);
}

void DocumentView::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton) {
        pressed_ = targetAt(event->position());
        update();
    }
}

void DocumentView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        return;
    }
    const auto pressed = std::exchange(pressed_, std::nullopt);
    update();
    if (!pressed || targetAt(event->position()) != pressed) {
        return;
    }
    // The content may hide the panel from here; nothing of this view is used afterwards.
    const auto shown = content;
    switch (pressed->part) {
    case Part::row:
        shown->clickRow(pressed->row, modifierFlags(event->modifiers()));
        break;
    case Part::copyButton:
        shown->clickCopyButton(pressed->row);
        break;
    case Part::configureButton:
        shown->clickConfigure();
        break;
    }
}

bool DocumentView::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    const auto* help = static_cast<QHelpEvent*>(event);
    const auto target = targetAt(help->pos());
    QString tip;
    if (target && target->part == Part::row) {
        tip =
            QString::fromStdString(content->rows()[static_cast<std::size_t>(target->row)].toolTip);
    } else if (target && target->part == Part::copyButton) {
        tip = QString::fromUtf8(PasswordPickerContent::copyToolTip.data(),
                                PasswordPickerContent::copyToolTip.size());
    }
    QToolTip::showText(help->globalPos(), tip, this);
    return true;
}

// --- The rows for assistive technology. ------------------------------------------------------
// The document paints its rows, so it tells a screen reader about them itself: a list whose
// items are the content's rows, named and described as the content says, pressed as clicked.

class PickerRowAccessible final : public QAccessibleInterface, public QAccessibleActionInterface {
public:
    PickerRowAccessible(DocumentView& view, int row) : view_(&view), row_(row) {}

    bool isValid() const override { return view_ && row() != nullptr; }
    QObject* object() const override { return nullptr; }
    QWindow* window() const override { return view_ ? view_->window()->windowHandle() : nullptr; }
    QAccessibleInterface* parent() const override {
        return QAccessible::queryAccessibleInterface(view_.data());
    }
    QAccessibleInterface* child(int) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface*) const override { return -1; }
    QAccessibleInterface* childAt(int, int) const override { return nullptr; }
    QAccessible::Role role() const override { return QAccessible::ListItem; }

    QString text(QAccessible::Text kind) const override {
        const auto* shown = row();
        if (!shown) {
            return {};
        }
        if (kind == QAccessible::Name) {
            return QString::fromStdString(
                shown->accessibilityLabel.empty() ? shown->title : shown->accessibilityLabel);
        }
        return kind == QAccessible::Description ? QString::fromStdString(shown->toolTip)
                                                : QString();
    }
    void setText(QAccessible::Text, const QString&) override {}

    QRect rect() const override {
        if (!row()) {
            return {};
        }
        const auto area = toQt(view_->content->layout(view_->width()).rows[index()]).toRect();
        return {view_->mapToGlobal(area.topLeft()), area.size()};
    }

    QAccessible::State state() const override {
        QAccessible::State state;
        state.selectable = true;
        state.selected = row() && view_->content->highlightedIndex() == row_;
        state.invisible = !view_ || !view_->isVisible();
        return state;
    }

    void* interface_cast(QAccessible::InterfaceType type) override {
        return type == QAccessible::ActionInterface ? static_cast<QAccessibleActionInterface*>(this)
                                                    : nullptr;
    }
    QStringList actionNames() const override { return {pressAction()}; }
    void doAction(const QString& name) override {
        if (name == pressAction() && row()) {
            // The content may hide the panel from here, as a click does.
            const auto shown = view_->content;
            shown->clickRow(row_, 0);
        }
    }
    QStringList keyBindingsForAction(const QString&) const override { return {}; }

private:
    std::size_t index() const { return static_cast<std::size_t>(row_); }
    const PasswordPickerContent::Row* row() const {
        if (!view_ || !view_->content || row_ >= static_cast<int>(view_->content->rows().size())) {
            return nullptr;
        }
        return &view_->content->rows()[index()];
    }

    QPointer<DocumentView> view_;
    int row_;
};

class DocumentAccessible final : public QAccessibleWidget {
public:
    explicit DocumentAccessible(DocumentView& view)
        : QAccessibleWidget(&view, QAccessible::List), view_(view) {}

    ~DocumentAccessible() override {
        for (const auto id : rows_) {
            QAccessible::deleteAccessibleInterface(id);
        }
    }

    int childCount() const override {
        return view_.content ? static_cast<int>(view_.content->rows().size()) : 0;
    }

    QAccessibleInterface* child(int index) const override {
        if (index < 0 || index >= childCount()) {
            return nullptr;
        }
        // Made once per row and kept: assistive technology knows an object by its identity.
        while (rows_.size() <= static_cast<std::size_t>(index)) {
            rows_.push_back(QAccessible::registerAccessibleInterface(
                new PickerRowAccessible(view_, static_cast<int>(rows_.size()))));
        }
        return QAccessible::accessibleInterface(rows_[static_cast<std::size_t>(index)]);
    }

    int indexOfChild(const QAccessibleInterface* child) const override {
        for (int index = 0; index < childCount(); ++index) {
            if (this->child(index) == child) {
                return index;
            }
        }
        return -1;
    }

    QAccessibleInterface* childAt(int x, int y) const override {
        for (int index = 0; index < childCount(); ++index) {
            if (child(index)->rect().contains(x, y)) {
                return child(index);
            }
        }
        return nullptr;
    }

private:
    DocumentView& view_;
    mutable std::vector<QAccessible::Id> rows_;
};

QAccessibleInterface* documentAccessible(const QString&, QObject* object) {
    auto* view = dynamic_cast<DocumentView*>(object);
    // Qt's accessibility cache owns what a factory makes.
    return view ? new DocumentAccessible(*view) : nullptr;
}

// The head of an XI2 raw event as the X server sends it.
struct RawEventHead {
    std::uint8_t responseType;
    std::uint8_t extension;
    std::uint16_t sequence;
    std::uint32_t length;
    std::uint16_t eventType;
    std::uint16_t deviceId;
    std::uint32_t time;
    std::uint32_t detail;
};

constexpr std::uint32_t leftButton = 1;
constexpr std::uint32_t rightButton = 3;

struct FreeDeleter {
    void operator()(void* pointer) const { std::free(pointer); }
};

// Destroying it runs `remove`, once.
class RemovingMonitor final : public PasswordPickerPanel::Monitor {
public:
    explicit RemovingMonitor(std::function<void()> remove) : remove_(std::move(remove)) {}
    ~RemovingMonitor() override { remove_(); }
    RemovingMonitor(const RemovingMonitor&) = delete;
    RemovingMonitor& operator=(const RemovingMonitor&) = delete;

private:
    std::function<void()> remove_;
};

} // namespace

// The window, its X connection and what the monitors asked for. Filters the application's X
// events natively (keys, focus, raw clicks) and its Qt events (clicks in its windows).
class X11PasswordPickerPanel::Window final : public QObject, public QAbstractNativeEventFilter {
public:
    Window();
    ~Window() override;

    bool nativeEventFilter(const QByteArray& type, void* message, qintptr* result) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    xcb_window_t windowId() const { return static_cast<xcb_window_t>(widget->winId()); }
    void grab();
    void ungrab();
    void selectRawButtonPresses(bool select);

    Display* display = nullptr;
    xcb_connection_t* connection = nullptr;
    int inputExtension = -1;
    std::unique_ptr<QFrame> widget;
    QScrollArea* scrollArea = nullptr;
    DocumentView* document = nullptr;
    bool grabbed = false;

    std::function<void(const PasswordPickerKeyEvent&)> keyDown;
    std::function<void()> resignKey;
    std::function<bool(const PasswordPickerKeyEvent&)> keyMonitor;
    std::function<void(bool)> localClickMonitor;
    std::function<void()> globalClickMonitor;

private:
    bool isOwnWindow(xcb_window_t window) const;
    bool keyPressed(const xcb_key_press_event_t& press);
    bool focusChanged(std::uint8_t type, const xcb_focus_in_event_t& focus);
    void rawButtonPressed(const RawEventHead& event);
};

X11PasswordPickerPanel::Window::Window() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    KESTRELLE_CHECK(x11, "The picker panel needs Qt's xcb platform");
    display = x11->display();
    connection = x11->connection();
    int opcode = 0;
    int event = 0;
    int error = 0;
    if (XQueryExtension(display, "XInputExtension", &opcode, &event, &error)) {
        inputExtension = opcode;
    } else {
        logger.error("No X input extension: clicks in other applications will not close the "
                     "picker");
    }

    widget = std::make_unique<QFrame>(
        nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                     Qt::X11BypassWindowManagerHint | Qt::WindowDoesNotAcceptFocus);
    widget->setAttribute(Qt::WA_ShowWithoutActivating);
    // Names the window for the accessibility bus and for tools that look for it.
    widget->setWindowTitle(QStringLiteral("Kestrelle password picker"));
    widget->setAccessibleName(QStringLiteral("Kestrelle password picker"));
    widget->setAttribute(Qt::WA_AlwaysShowToolTips);
    // Nothing draws a shadow without a compositor: a line sets the panel off what lies below.
    widget->setFrameStyle(QFrame::Box | QFrame::Plain);
    auto* layout = new QVBoxLayout(widget.get());
    layout->setContentsMargins(0, 0, 0, 0);
    scrollArea = new QScrollArea(widget.get());
    scrollArea->setFrameShape(QFrame::NoFrame);
    scrollArea->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrollArea->setWidgetResizable(true);
    static const bool factoryInstalled = [] {
        QAccessible::installFactory(documentAccessible);
        return true;
    }();
    (void)factoryInstalled;
    document = new DocumentView;
    document->setAccessibleName(QStringLiteral("Passwords"));
    scrollArea->setWidget(document);
    layout->addWidget(scrollArea);
    // The X window now, rather than at the first show, which the user waits for.
    widget->ensurePolished();
    widget->winId();

    QCoreApplication::instance()->installNativeEventFilter(this);
}

X11PasswordPickerPanel::Window::~Window() {
    QCoreApplication::instance()->removeNativeEventFilter(this);
    ungrab();
    selectRawButtonPresses(false);
}

void X11PasswordPickerPanel::Window::grab() {
    const auto cookie = xcb_grab_keyboard(connection, 0, windowId(), XCB_CURRENT_TIME,
                                          XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
    const std::unique_ptr<xcb_grab_keyboard_reply_t, FreeDeleter> reply(
        xcb_grab_keyboard_reply(connection, cookie, nullptr));
    grabbed = reply && reply->status == XCB_GRAB_STATUS_SUCCESS;
    if (!grabbed) {
        logger.info("Keyboard grab refused, status {}", reply ? int{reply->status} : -1);
    }
}

void X11PasswordPickerPanel::Window::ungrab() {
    if (std::exchange(grabbed, false)) {
        xcb_ungrab_keyboard(connection, XCB_CURRENT_TIME);
        xcb_flush(connection);
    }
}

// XIAllMasterDevices, so that each click is seen once, by its master pointer. Qt's own
// selections on the root window are for other devices and stay as they are.
void X11PasswordPickerPanel::Window::selectRawButtonPresses(bool select) {
    if (inputExtension < 0) {
        return;
    }
    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> bits{};
    if (select) {
        XISetMask(bits.data(), XI_RawButtonPress);
    }
    XIEventMask mask{XIAllMasterDevices, static_cast<int>(bits.size()), bits.data()};
    XISelectEvents(display, DefaultRootWindow(display), &mask, 1);
    XFlush(display);
}

bool X11PasswordPickerPanel::Window::nativeEventFilter(const QByteArray& type, void* message,
                                                       qintptr*) {
    if (type != "xcb_generic_event_t") {
        return false;
    }
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    switch (event->response_type & 0x7f) {
    case XCB_KEY_PRESS:
        return keyPressed(*reinterpret_cast<const xcb_key_press_event_t*>(event));
    case XCB_KEY_RELEASE:
        return reinterpret_cast<const xcb_key_release_event_t*>(event)->event == windowId();
    case XCB_FOCUS_IN:
    case XCB_FOCUS_OUT:
        return focusChanged(event->response_type & 0x7f,
                            *reinterpret_cast<const xcb_focus_in_event_t*>(event));
    case XCB_GE_GENERIC: {
        RawEventHead head;
        std::memcpy(&head, event, sizeof head);
        if (head.extension == inputExtension && head.eventType == XI_RawButtonPress) {
            rawButtonPressed(head);
        }
        return false;
    }
    default:
        return false;
    }
}

bool X11PasswordPickerPanel::Window::isOwnWindow(xcb_window_t window) const {
    const auto windows = QGuiApplication::topLevelWindows();
    return std::any_of(windows.begin(), windows.end(), [window](const QWindow* own) {
        return own->handle() && own->winId() == window;
    });
}

// Presses reported on the root window belong to the shortcut's grab, not to the picker.
bool X11PasswordPickerPanel::Window::keyPressed(const xcb_key_press_event_t& press) {
    const bool onPanel = press.event == windowId();
    if (!onPanel && !isOwnWindow(press.event)) {
        return false;
    }
    const auto event = pickerKeyEvent(display, press.detail, press.state);
    // Copies: a handler may remove itself.
    if (auto monitor = keyMonitor; monitor && monitor(event)) {
        return true;
    }
    if (onPanel && grabbed) {
        if (auto handler = keyDown) {
            handler(event);
        }
    }
    return onPanel;
}

// The panel only ever has the focus through its grab. Qt does not see these events, so it never
// counts the panel as active and never hands the focus on when it hides.
bool X11PasswordPickerPanel::Window::focusChanged(std::uint8_t type,
                                                  const xcb_focus_in_event_t& focus) {
    if (focus.event != windowId()) {
        return false;
    }
    // A grab that ends, or another grab that replaces it; not the pointer entering or leaving
    // while the focus follows it.
    const bool grabEnded =
        (focus.mode == XCB_NOTIFY_MODE_UNGRAB || focus.mode == XCB_NOTIFY_MODE_GRAB) &&
        focus.detail != XCB_NOTIFY_DETAIL_POINTER;
    if (type == XCB_FOCUS_OUT && grabEnded && std::exchange(grabbed, false)) {
        if (auto handler = resignKey) {
            handler();
        }
    }
    return true;
}

// Raw events see every click, Kestrelle's own included; those are the local monitor's.
void X11PasswordPickerPanel::Window::rawButtonPressed(const RawEventHead& event) {
    if ((event.detail != leftButton && event.detail != rightButton) || !globalClickMonitor ||
        QGuiApplication::topLevelAt(QCursor::pos())) {
        return;
    }
    auto handler = globalClickMonitor;
    handler();
}

bool X11PasswordPickerPanel::Window::eventFilter(QObject* watched, QEvent* event) {
    // Every click reaches its window first, once, before any widget sees it.
    if (event->type() == QEvent::MouseButtonPress && watched->isWindowType()) {
        const auto button = static_cast<const QMouseEvent*>(event)->button();
        if ((button == Qt::LeftButton || button == Qt::RightButton) && localClickMonitor) {
            auto handler = localClickMonitor;
            handler(watched == widget->windowHandle());
        }
    }
    return false;
}

X11PasswordPickerPanel::X11PasswordPickerPanel() : window_(std::make_shared<Window>()) {}

X11PasswordPickerPanel::~X11PasswordPickerPanel() = default;

void X11PasswordPickerPanel::setContent(std::shared_ptr<const PasswordPickerContent> content) {
    window_->document->content = std::move(content);
}

void X11PasswordPickerPanel::setKeyDownHandler(
    std::function<void(const PasswordPickerKeyEvent&)> handler) {
    window_->keyDown = std::move(handler);
}

void X11PasswordPickerPanel::setResignKeyHandler(std::function<void()> handler) {
    window_->resignKey = std::move(handler);
}

void X11PasswordPickerPanel::renderContent() {
    auto& document = *window_->document;
    if (document.content) {
        document.setMinimumHeight(static_cast<int>(
            std::ceil(document.content->layout(document.width()).document.height)));
    }
    window_->scrollArea->verticalScrollBar()->setValue(0);
    document.update();
}

void X11PasswordPickerPanel::updateHighlight(std::optional<int> rowToReveal) {
    auto& document = *window_->document;
    document.update();
    // A screen reader follows the highlight as it follows a focus.
    const auto highlighted = document.content ? document.content->highlightedIndex() : std::nullopt;
    auto* list =
        QAccessible::isActive() ? QAccessible::queryAccessibleInterface(&document) : nullptr;
    if (auto* row = list && highlighted ? list->child(*highlighted) : nullptr) {
        QAccessibleEvent focus(row, QAccessible::Focus);
        QAccessible::updateAccessibility(&focus);
    }
    if (!rowToReveal || !document.content) {
        return;
    }
    const auto rows = document.content->layout(document.width()).rows;
    if (*rowToReveal < 0 || static_cast<std::size_t>(*rowToReveal) >= rows.size()) {
        return;
    }
    const QRectF row = toQt(rows[static_cast<std::size_t>(*rowToReveal)]);
    window_->scrollArea->ensureVisible(
        static_cast<int>(row.center().x()), static_cast<int>(row.center().y()), 0,
        static_cast<int>(row.height() / 2 + PasswordPickerContent::padding));
}

void X11PasswordPickerPanel::setContentSize(Size size) {
    // Fixed, so that the scroll area's own minimum never enlarges it; the line lies outside.
    const int line = 2 * window_->widget->frameWidth();
    window_->widget->setFixedSize(static_cast<int>(std::ceil(size.width)) + line,
                                  static_cast<int>(std::ceil(size.height)) + line);
}

void X11PasswordPickerPanel::setFrameOrigin(Point origin) {
    window_->widget->move(static_cast<int>(std::lround(origin.x)),
                          static_cast<int>(std::lround(origin.y)));
}

void X11PasswordPickerPanel::orderFrontRegardless() {
    window_->widget->show();
    window_->widget->raise();
}

void X11PasswordPickerPanel::makeKeyWindow() {
    if (window_->widget->isVisible()) {
        window_->grab();
    }
}

void X11PasswordPickerPanel::orderOut() {
    window_->ungrab();
    window_->widget->hide();
}

bool X11PasswordPickerPanel::isKeyWindow() const {
    return window_->grabbed;
}

bool X11PasswordPickerPanel::isVisible() const {
    return window_->widget->isVisible();
}

std::unique_ptr<PasswordPickerPanel::Monitor> X11PasswordPickerPanel::addLocalKeyMonitor(
    std::function<bool(const PasswordPickerKeyEvent&)> handler) {
    window_->keyMonitor = std::move(handler);
    return std::make_unique<RemovingMonitor>([weak = std::weak_ptr<Window>(window_)] {
        if (const auto window = weak.lock()) {
            window->keyMonitor = nullptr;
        }
    });
}

std::unique_ptr<PasswordPickerPanel::Monitor>
X11PasswordPickerPanel::addLocalClickMonitor(std::function<void(bool onPanel)> handler) {
    window_->localClickMonitor = std::move(handler);
    QCoreApplication::instance()->installEventFilter(window_.get());
    return std::make_unique<RemovingMonitor>([weak = std::weak_ptr<Window>(window_)] {
        if (const auto window = weak.lock()) {
            QCoreApplication::instance()->removeEventFilter(window.get());
            window->localClickMonitor = nullptr;
        }
    });
}

std::unique_ptr<PasswordPickerPanel::Monitor>
X11PasswordPickerPanel::addGlobalClickMonitor(std::function<void()> handler) {
    window_->globalClickMonitor = std::move(handler);
    window_->selectRawButtonPresses(true);
    return std::make_unique<RemovingMonitor>([weak = std::weak_ptr<Window>(window_)] {
        if (const auto window = weak.lock()) {
            window->selectRawButtonPresses(false);
            window->globalClickMonitor = nullptr;
        }
    });
}

Point X11PasswordPickerPanel::pointerLocation() const {
    const QPoint pointer = QCursor::pos();
    return {static_cast<double>(pointer.x()), static_cast<double>(pointer.y())};
}

std::vector<PasswordPickerPanel::Screen> X11PasswordPickerPanel::screens() const {
    std::vector<Screen> screens;
    for (const QScreen* screen : QGuiApplication::screens()) {
        screens.push_back({fromQt(screen->geometry()), fromQt(screen->availableGeometry())});
    }
    return screens;
}

std::optional<PasswordPickerPanel::Screen> X11PasswordPickerPanel::mainScreen() const {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        return Screen{fromQt(screen->geometry()), fromQt(screen->availableGeometry())};
    }
    return std::nullopt;
}

} // namespace kestrelle
