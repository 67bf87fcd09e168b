#pragma once

class QWidget;

namespace robotpages {

// Styles a page widget from the theme: the core module's setting-page rules,
// then the robot pages' own rules, both with the theme's placeholders, so
// that every theme and zoom applies and no colour or size is written here.
void renderPage(QWidget* page);

} // namespace robotpages
