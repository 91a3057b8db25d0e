// Passing texts on to other programs, by the means of the platform.
#ifndef TROVIK_APP_SHARE_PICKER_H
#define TROVIK_APP_SHARE_PICKER_H

#include <QRect>
#include <QStringList>

class QWidget;

// Offers the items, in their order, under the lower edge of `place`, a rectangle in
// `anchor`. Returns at once; what happens then is the user's choice. Main thread.
void share_picker_show(QWidget *anchor, const QRect &place, const QStringList &items);

#endif
