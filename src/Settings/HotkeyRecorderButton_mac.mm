#include "Settings/HotkeyRecorderButton_mac.h"

#include "Runtime/FoundationText_mac.h"
#include "Runtime/Signal.h"

@implementation KESRecorderButton {
    std::shared_ptr<kestrelle::HotkeyRecorderModel> _model;
    kestrelle::Subscription _subscription;
    id _keyMonitor;
}

- (instancetype)initWithModel:(std::shared_ptr<kestrelle::HotkeyRecorderModel>)model {
    self = [super
        initWithFrame:NSMakeRect(0, 0, kestrelle::HotkeyRecorderModel::minimumButtonWidth, 28)];
    if (self) {
        _model = std::move(model);
        self.bezelStyle = NSBezelStylePush;
        self.target = self;
        self.action = @selector(beginRecording:);
        [self setAccessibilityLabel:kestrelle::foundationString(
                                        kestrelle::HotkeyRecorderModel::accessibilityLabel)];
        KESRecorderButton *__weak weakSelf = self;
        _subscription = _model->subscribe([weakSelf] { [weakSelf modelChanged]; });
    }
    return self;
}

- (void)dealloc {
    [self stopMonitoring];
}

- (BOOL)acceptsFirstResponder {
    return YES;
}

- (void)beginRecording:(id)sender {
    (void)sender;
    _model->beginRecording();
    [self.window makeFirstResponder:self];
}

- (BOOL)resignFirstResponder {
    const BOOL resigned = [super resignFirstResponder];
    if (resigned && _model->isRecording()) {
        _model->endRecording();
    }
    return resigned;
}

- (void)modelChanged {
    self.title = kestrelle::foundationString(_model->buttonTitle());
    // The label says what the button is; the value what it shows now.
    [self setAccessibilityValueDescription:self.title];
    if (_model->isRecording()) {
        [self startMonitoring];
    } else {
        [self stopMonitoring];
        if (self.window.firstResponder == self) {
            [self.window makeFirstResponder:nil];
        }
    }
}

- (void)startMonitoring {
    if (_keyMonitor != nil) {
        return;
    }
    KESRecorderButton *__weak weakSelf = self;
    _keyMonitor = [NSEvent addLocalMonitorForEventsMatchingMask:NSEventMaskKeyDown
                                                        handler:^NSEvent *(NSEvent *event) {
                                                            [weakSelf recordKey:event];
                                                            return nil;
                                                        }];
}

- (void)stopMonitoring {
    if (_keyMonitor != nil) {
        [NSEvent removeMonitor:_keyMonitor];
        _keyMonitor = nil;
    }
}

- (void)recordKey:(NSEvent *)event {
    _model->keyDown(event.keyCode, static_cast<std::uint64_t>(event.modifierFlags));
}

@end
