// The system's own picker.
#import <AppKit/AppKit.h>

#include <QWidget>

#include "app/share_picker.h"

void share_picker_show(QWidget *anchor, const QRect &place, const QStringList &items) {
    NSMutableArray *const texts = [NSMutableArray array];
    for (const QString &item : items)
        [texts addObject:item.toNSString()];
    NSView *const view = reinterpret_cast<NSView *>(anchor->window()->winId());
    const QRect in_window(anchor->mapTo(anchor->window(), place.topLeft()), place.size());
    const CGFloat y = view.isFlipped
                          ? in_window.y()
                          : view.bounds.size.height - in_window.y() - in_window.height();
    NSSharingServicePicker *const picker =
        [[[NSSharingServicePicker alloc] initWithItems:texts] autorelease];
    [picker showRelativeToRect:NSMakeRect(in_window.x(), y, in_window.width(), in_window.height())
                        ofView:view
                 preferredEdge:NSMinYEdge];
}
