#include "services/stylesheet.h"

#include <QLayout>
#include <QWidget>

// Placeholder bodies: the walk is being built with the theme.

void setRecursiveWidgetStyleSheet(QWidget* widget, const QString& styleSheet, QList<QWidget*>)
{
    if (widget)
        widget->setStyleSheet(styleSheet);
}

void setRecursiveLayoutStyleSheet(QLayout*, const QString&, QList<QWidget*>) {}

void clearWgtContent(QWidget*) {}
