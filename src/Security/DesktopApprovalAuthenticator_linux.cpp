#include "Security/DesktopApprovalAuthenticator_linux.h"

#include "Runtime/Logger.h"
#include "Runtime/Uuid.h"
#include "Security/BiometricPlatformMapping.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QFrame>
#include <QGuiApplication>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QVBoxLayout>
#include <functional>
#include <limits>
#include <utility>

namespace kestrelle {

namespace {

const Logger logger{"Approval"};

constexpr auto fprintService = "net.reactivated.Fprint";
constexpr auto fprintManagerPath = "/net/reactivated/Fprint/Manager";
constexpr auto fprintManager = "net.reactivated.Fprint.Manager";
constexpr auto fprintDevice = "net.reactivated.Fprint.Device";
constexpr auto polkitService = "org.freedesktop.PolicyKit1";
constexpr auto polkitAuthorityPath = "/org/freedesktop/PolicyKit1/Authority";
constexpr auto polkitAuthority = "org.freedesktop.PolicyKit1.Authority";
constexpr quint32 allowUserInteraction = 1;

// The availability queries block the main thread. Both daemons answer in milliseconds; one that
// does not answer within this counts as absent.
constexpr int queryTimeoutMilliseconds = 2000;
// The polkit agent waits for the user as long as the user takes.
constexpr int unlimitedTimeout = std::numeric_limits<int>::max();

using EvaluationReply = BiometricContext::EvaluationReply;

QDBusConnection systemBus() {
    return QDBusConnection::systemBus();
}

QDBusMessage methodCall(const char* service, const QString& path, const char* interface,
                        const char* method, const QVariantList& arguments = {}) {
    auto message =
        QDBusMessage::createMethodCall(QString::fromLatin1(service), path,
                                       QString::fromLatin1(interface), QString::fromLatin1(method));
    message.setArguments(arguments);
    return message;
}

QDBusMessage callNow(const QDBusMessage& message) {
    return systemBus().call(message, QDBus::Block, queryTimeoutMilliseconds);
}

// Hands the reply to `then` on the main thread. The watcher belongs to the application, so the
// reply still arrives when whoever asked is gone: `then` keeps alive what it needs.
void send(const QDBusMessage& message, std::function<void(const QDBusMessage&)> then,
          int timeout = -1) {
    auto* watcher = new QDBusPendingCallWatcher(systemBus().asyncCall(message, timeout),
                                                QCoreApplication::instance());
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [then = std::move(then)](QDBusPendingCallWatcher* finished) {
                         finished->deleteLater();
                         then(finished->reply());
                     });
}

bool isError(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ErrorMessage;
}

BiometricErrorCode refusalOf(const QDBusMessage& reply) {
    const auto name = reply.errorName().toStdString();
    logger.notice("Refused: {}", PublicText(name));
    return biometricErrorFromDBus(name);
}

QString devicePathOf(const QDBusMessage& reply) {
    return reply.arguments().value(0).value<QDBusObjectPath>().path();
}

// None while the default reader has a finger of this user's enrolled.
std::optional<BiometricErrorCode> fingerprintRefusal() {
    const auto device =
        callNow(methodCall(fprintService, fprintManagerPath, fprintManager, "GetDefaultDevice"));
    if (isError(device)) {
        return refusalOf(device);
    }
    const auto fingers = callNow(methodCall(fprintService, devicePathOf(device), fprintDevice,
                                            "ListEnrolledFingers", {QString()}));
    if (isError(fingers)) {
        return refusalOf(fingers);
    }
    if (fingers.arguments().value(0).toStringList().isEmpty()) {
        return BiometricErrorCode::notEnrolled;
    }
    return std::nullopt;
}

bool polkitAuthorityRuns() {
    return !isError(callNow(methodCall(polkitService, QString::fromLatin1(polkitAuthorityPath),
                                       "org.freedesktop.DBus.Peer", "Ping")));
}

QString text(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

struct DeleteLater {
    void operator()(QObject* object) const { object->deleteLater(); }
};

// The app's own prompt while the reader waits for a finger: the reason, what to do, and Cancel.
// It never takes the keyboard focus, so the field the user came from keeps it throughout; the
// button answers the mouse.
class FingerprintPrompt final : public QFrame {
public:
    FingerprintPrompt(const QString& reason, std::function<void()> cancel)
        : QFrame(nullptr, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                              Qt::WindowDoesNotAcceptFocus | Qt::X11BypassWindowManagerHint) {
        setAttribute(Qt::WA_ShowWithoutActivating);
        // What a screen reader announces: whose prompt it is, then why it asks.
        setWindowTitle(QStringLiteral("Kestrelle"));
        setAccessibleDescription(reason);
        setFrameStyle(QFrame::Box | QFrame::Plain);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel(reason, this));
        hint_ = new QLabel(text(fingerprintPromptInstruction), this);
        layout->addWidget(hint_);
        auto* cancelButton = new QPushButton(text(fingerprintPromptCancel), this);
        cancelButton->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(cancelButton, 0, Qt::AlignRight);
        connect(cancelButton, &QPushButton::clicked, this,
                [cancel = std::move(cancel)] { cancel(); });
        adjustSize();
        if (const auto* screen = QGuiApplication::primaryScreen()) {
            move(screen->availableGeometry().center() - rect().center());
        }
        show();
    }

    void showRetry() { hint_->setText(text(fingerprintPromptRetry)); }

private:
    QLabel* hint_;
};

// What one evaluation runs: the reader's verification, or polkit's check.
class Approval {
public:
    virtual ~Approval() = default;
    // Answers the evaluation with `code` at once, if it is still running; the daemon is told
    // in the background.
    virtual void cancel(BiometricErrorCode code) = 0;
};

// One verification on the default reader: claims it, verifies until fprintVerifyStep ends it,
// then stops verifying and releases the reader, also after the context is gone. At most one call
// is out at a time; its reply goes on with the release when the answer came meanwhile.
class FingerprintApproval final : public QObject,
                                  public Approval,
                                  public std::enable_shared_from_this<FingerprintApproval> {
    Q_OBJECT

public:
    explicit FingerprintApproval(EvaluationReply reply) : reply_(std::move(reply)) {}

    void start(const std::string& reason) {
        reason_ = QString::fromStdString(reason);
        call(methodCall(fprintService, fprintManagerPath, fprintManager, "GetDefaultDevice"),
             &FingerprintApproval::deviceFound);
    }

    void cancel(BiometricErrorCode code) override {
        finish({false, code, BiometricKind::fingerprint});
        cleanUp();
    }

public Q_SLOTS:
    void verifyStatus(const QString& status, bool done) {
        if (!verifying_ || ended_) {
            return;
        }
        logger.info("Fingerprint {} (done: {})", PublicText(status.toStdString()), done);
        const auto step = fingerprintVerifyStep(status.toStdString(), done, noMatches_);
        switch (step.action) {
        case FingerprintVerifyStep::Action::wait:
            return;
        case FingerprintVerifyStep::Action::retry:
            ++noMatches_;
            prompt_->showRetry();
            verifying_ = false;
            call(deviceCall("VerifyStop"), &FingerprintApproval::verifyStopped);
            return;
        case FingerprintVerifyStep::Action::finish:
            finish(step.result);
            cleanUp();
            return;
        }
    }

private:
    using Continuation = void (FingerprintApproval::*)(const QDBusMessage&);

    QDBusMessage deviceCall(const char* method, const QVariantList& arguments = {}) const {
        return methodCall(fprintService, device_, fprintDevice, method, arguments);
    }
    void call(const QDBusMessage& message, Continuation then) {
        pending_ = true;
        send(message, [self = shared_from_this(), then](const QDBusMessage& reply) {
            self->pending_ = false;
            (self.get()->*then)(reply);
        });
    }

    void deviceFound(const QDBusMessage& reply) {
        if (isError(reply)) {
            finish({false, refusalOf(reply), BiometricKind::fingerprint});
            return;
        }
        if (ended_) {
            return;
        }
        device_ = devicePathOf(reply);
        systemBus().connect(QString::fromLatin1(fprintService), device_,
                            QString::fromLatin1(fprintDevice), QStringLiteral("VerifyStatus"), this,
                            SLOT(verifyStatus(QString, bool)));
        call(deviceCall("Claim", {QString()}), &FingerprintApproval::claimed);
    }
    void claimed(const QDBusMessage& reply) {
        if (isError(reply)) {
            finish({false, refusalOf(reply), BiometricKind::fingerprint});
            cleanUp();
            return;
        }
        claimed_ = true;
        ended_ ? cleanUp() : startVerifying();
    }
    void startVerifying() {
        call(deviceCall("VerifyStart", {QStringLiteral("any")}),
             &FingerprintApproval::verifyStarted);
    }
    void verifyStarted(const QDBusMessage& reply) {
        if (isError(reply)) {
            finish({false, refusalOf(reply), BiometricKind::fingerprint});
            cleanUp();
            return;
        }
        verifying_ = true;
        if (ended_) {
            cleanUp();
            return;
        }
        if (!prompt_) {
            const std::weak_ptr<FingerprintApproval> weak = shared_from_this();
            prompt_.reset(new FingerprintPrompt(reason_, [weak] {
                if (const auto self = weak.lock()) {
                    self->cancel(BiometricErrorCode::userCancel);
                }
            }));
        }
    }
    void verifyStopped(const QDBusMessage&) { ended_ ? cleanUp() : startVerifying(); }
    void released(const QDBusMessage& reply) {
        if (isError(reply)) {
            refusalOf(reply);
        }
    }

    // Tells the core once, and takes the prompt down.
    void finish(const BiometricEvaluationResult& result) {
        if (ended_) {
            return;
        }
        ended_ = true;
        if (prompt_) {
            prompt_->hide();
            prompt_.reset();
        }
        logger.notice("Fingerprint approval ended; approved: {}", result.approved);
        std::exchange(reply_, nullptr)(result);
    }
    // Stops verifying, then releases the reader; a call that is out comes back here.
    void cleanUp() {
        if (pending_) {
            return;
        }
        if (verifying_) {
            verifying_ = false;
            call(deviceCall("VerifyStop"), &FingerprintApproval::verifyStopped);
            return;
        }
        if (claimed_) {
            claimed_ = false;
            call(deviceCall("Release"), &FingerprintApproval::released);
        }
        systemBus().disconnect(QString::fromLatin1(fprintService), device_,
                               QString::fromLatin1(fprintDevice), QStringLiteral("VerifyStatus"),
                               this, SLOT(verifyStatus(QString, bool)));
    }

    EvaluationReply reply_;
    QString reason_;
    QString device_;
    bool pending_ = false;
    bool claimed_ = false;
    bool verifying_ = false;
    bool ended_ = false;
    int noMatches_ = 0;
    std::unique_ptr<FingerprintPrompt, DeleteLater> prompt_;
};

// polkit's subject for this process: its connection to the system bus.
QDBusArgument thisProcess() {
    QDBusArgument subject;
    subject.beginStructure();
    subject << QStringLiteral("system-bus-name");
    subject.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QDBusVariant>());
    subject.beginMapEntry();
    subject << QStringLiteral("name") << QDBusVariant(systemBus().baseService());
    subject.endMapEntry();
    subject.endMap();
    subject.endStructure();
    return subject;
}

QDBusArgument noDetails() {
    QDBusArgument details;
    details.beginMap(QMetaType::fromType<QString>(), QMetaType::fromType<QString>());
    details.endMap();
    return details;
}

// One CheckAuthorization of the approval action, with the desktop's agent asking the user.
class PolkitApproval final : public Approval, public std::enable_shared_from_this<PolkitApproval> {
public:
    explicit PolkitApproval(EvaluationReply reply) : reply_(std::move(reply)) {}

    void start() {
        auto message = methodCall(polkitService, QString::fromLatin1(polkitAuthorityPath),
                                  polkitAuthority, "CheckAuthorization");
        message << QVariant::fromValue(thisProcess()) << text(polkitApprovalAction)
                << QVariant::fromValue(noDetails()) << allowUserInteraction << cancellationID_;
        send(
            message,
            [self = shared_from_this()](const QDBusMessage& reply) { self->answered(reply); },
            unlimitedTimeout);
    }

    void cancel(BiometricErrorCode code) override {
        if (!reply_) {
            return;
        }
        finish({false, code, BiometricKind::password});
        send(methodCall(polkitService, QString::fromLatin1(polkitAuthorityPath), polkitAuthority,
                        "CancelCheckAuthorization", {cancellationID_}),
             [](const QDBusMessage&) {});
    }

private:
    void answered(const QDBusMessage& reply) {
        if (!reply_) {
            return;
        }
        if (isError(reply)) {
            finish({false, refusalOf(reply), BiometricKind::password});
            return;
        }
        const auto answer = reply.arguments().value(0).value<QDBusArgument>();
        bool authorized = false;
        bool challenge = false;
        QMap<QString, QString> details;
        answer.beginStructure();
        answer >> authorized >> challenge >> details;
        answer.endStructure();
        finish(polkitEvaluationResult(authorized, challenge,
                                      details.value(QStringLiteral("polkit.dismissed")) ==
                                          QStringLiteral("true")));
    }
    void finish(const BiometricEvaluationResult& result) {
        logger.notice("Password approval ended; approved: {}", result.approved);
        std::exchange(reply_, nullptr)(result);
    }

    EvaluationReply reply_;
    // Unique to this check, so that it alone is cancelled.
    QString cancellationID_ = QString::fromStdString(Uuid::random().toString());
};

class DesktopApprovalContext final : public BiometricContext {
public:
    ~DesktopApprovalContext() override { invalidate(); }

    void invalidate() override {
        invalidated_ = true;
        if (const auto running = std::exchange(running_, nullptr)) {
            running->cancel(BiometricErrorCode::appCancel);
        }
    }
    std::shared_ptr<AuthenticationContext> authenticationContext() override { return nullptr; }

protected:
    BiometricPolicyState policyState() override {
        return desktopApprovalPolicy(fingerprintRefusal(), polkitAuthorityRuns());
    }
    void evaluatePolicy(const std::string& reason, EvaluationReply reply) override {
        if (invalidated_) {
            reply({false, BiometricErrorCode::appCancel, std::nullopt});
            return;
        }
        const auto policy = policyState();
        if (!policy.canEvaluate) {
            reply({false, policy.error, policy.kind});
        } else if (policy.kind == BiometricKind::fingerprint) {
            const auto approval = std::make_shared<FingerprintApproval>(std::move(reply));
            running_ = approval;
            approval->start(reason);
        } else {
            const auto approval = std::make_shared<PolkitApproval>(std::move(reply));
            running_ = approval;
            approval->start();
        }
    }

private:
    bool invalidated_ = false;
    std::shared_ptr<Approval> running_;
};

} // namespace

std::shared_ptr<BiometricContext> DesktopApprovalAuthenticator::makeContext() {
    return std::make_shared<DesktopApprovalContext>();
}

} // namespace kestrelle

#include "DesktopApprovalAuthenticator_linux.moc"
