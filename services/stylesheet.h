#pragma once

// Style sheets through a widget tree in one pass: containers get the sheet
// after their children, scroll areas hand it to their content, combo boxes
// get a pop-up view that takes item rules, and every layout's margins and
// spacing follow the theme's size zoom. Each layout remembers the zoom
// already applied to it (user-data slot 0), so a walk never scales twice.

#include <zarvo/zarvo_global.h>

#include <QList>
#include <QString>

class QLayout;
class QWidget;

ZARVO_EXPORT void setRecursiveWidgetStyleSheet(QWidget* widget, const QString& styleSheet,
                                               QList<QWidget*> exceptions = QList<QWidget*>());
ZARVO_EXPORT void setRecursiveLayoutStyleSheet(QLayout* layout, const QString& styleSheet,
                                               QList<QWidget*> exceptions = QList<QWidget*>());
// Removes every item of the widget's layout and deletes the widgets it held.
ZARVO_EXPORT void clearWgtContent(QWidget* widget);
