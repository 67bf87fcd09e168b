<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="zh_CN">
<context>
    <name>BaseSettingPage</name>
    <message>
        <source>Title</source>
        <translation>标题</translation>
    </message>
</context>
<context>
    <name>ControllerManager</name>
    <message>
        <source>Connection failed: no response</source>
        <translation>连接失败：控制器无响应</translation>
    </message>
    <message>
        <source>Command %1 timeout!</source>
        <translation>命令%1超时！</translation>
    </message>
    <message>
        <source>Invalid response id in %1</source>
        <translation>%1中的响应ID无效</translation>
    </message>
    <message>
        <source>Unrecognized response [%1]!</source>
        <translation>无法识别的响应[%1]！</translation>
    </message>
    <message>
        <source>Unrecognized response: %1!</source>
        <translation>无法识别的响应：%1！</translation>
    </message>
    <message>
        <source>Unrecognized notification: %1!</source>
        <translation>无法识别的通知：%1！</translation>
    </message>
    <message>
        <source>unknown error [%1]</source>
        <translation>未知错误[%1]</translation>
    </message>
    <message>
        <source>Command %1 failed%2</source>
        <translation>命令%1执行失败%2</translation>
    </message>
</context>
<context>
    <name>QObject</name>
    <message>
        <source>Please input %1</source>
        <translation>请输入%1</translation>
    </message>
    <message>
        <source>Please select %1</source>
        <translation>请选择%1</translation>
    </message>
    <message>
        <source>Operation is not allowed for operator</source>
        <translation>操作员权限不允许此操作</translation>
    </message>
    <message>
        <source>The function has been disabled due to system failure</source>
        <translation>由于系统故障，该功能已被禁用</translation>
    </message>
    <message>
        <source>The %1 name is empty</source>
        <translation>%1名称为空</translation>
    </message>
    <message>
        <source>The length of %1 is longer than %2 characters</source>
        <translation>%1的长度超过%2个字符</translation>
    </message>
    <message>
        <source>The %1 name is occupied with %2</source>
        <translation>%1名称已被%2占用</translation>
    </message>
    <message>
        <source>The %1 name is already defined as %2</source>
        <translation>%1名称已定义为%2</translation>
    </message>
    <message>
        <source>The %1 name does not match the naming conventions</source>
        <translation>%1名称不符合命名规范</translation>
    </message>
    <message>
        <source>Not allowed to %1 when there is a task running</source>
        <translation>有任务正在运行时不允许%1</translation>
    </message>
    <message>
        <source>Not allowed to %1 when the motor is on. Please motor off first</source>
        <translation>电机上电时不允许%1，请先将电机下电</translation>
    </message>
    <message>
        <source>Cannot read file %1</source>
        <translation>无法读取文件%1</translation>
    </message>
    <message>
        <source>Cannot write file %1</source>
        <translation>无法写入文件%1</translation>
    </message>
    <message>
        <source>Warning</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>Information</source>
        <translation>信息</translation>
    </message>
    <message>
        <source>Question</source>
        <translation>询问</translation>
    </message>
    <message>
        <source>Warning!</source>
        <translation>警告！</translation>
    </message>
    <message>
        <source>Error!</source>
        <translation>错误！</translation>
    </message>
    <message>
        <source>ERROR</source>
        <translation>严重错误</translation>
    </message>
    <message>
        <source>Info!</source>
        <translation>提示！</translation>
    </message>
    <message>
        <source>OK</source>
        <translation>确定</translation>
    </message>
    <message>
        <source>Cancel</source>
        <translation>取消</translation>
    </message>
    <message>
        <source>Save</source>
        <translation>保存</translation>
    </message>
    <message>
        <source>Discard</source>
        <translation>放弃</translation>
    </message>
    <message>
        <source>Yes</source>
        <translation>是</translation>
    </message>
    <message>
        <source>No</source>
        <translation>否</translation>
    </message>
    <message>
        <source>Retry</source>
        <translation>重试</translation>
    </message>
    <message>
        <source>Above</source>
        <translation>上方</translation>
    </message>
    <message>
        <source>Below</source>
        <translation>下方</translation>
    </message>
    <message>
        <source>Auxiliary point</source>
        <translation>辅助点</translation>
    </message>
    <message>
        <source>End point</source>
        <translation>终点</translation>
    </message>
</context>
<context>
    <name>hmi::MainWindow</name>
    <message>
        <source>Console</source>
        <translation>控制台</translation>
    </message>
    <message>
        <source>&amp;Console</source>
        <translation>控制台(&amp;C)</translation>
    </message>
    <message>
        <source>&amp;Quit</source>
        <translation>退出(&amp;Q)</translation>
    </message>
    <message>
        <source>&amp;File</source>
        <translation>文件(&amp;F)</translation>
    </message>
    <message>
        <source>&amp;View</source>
        <translation>视图(&amp;V)</translation>
    </message>
    <message>
        <source>&amp;Log</source>
        <translation>日志(&amp;L)</translation>
    </message>
    <message>
        <source>Log</source>
        <translation>日志</translation>
    </message>
</context>
<context>
    <name>hmi::LogDock</name>
    <message>
        <source>Errors</source>
        <translation>错误</translation>
    </message>
    <message>
        <source>Warnings</source>
        <translation>警告</translation>
    </message>
    <message>
        <source>Information</source>
        <translation>信息</translation>
    </message>
    <message>
        <source>Debug</source>
        <translation>调试</translation>
    </message>
</context>
<context>
    <name>hmi::StatusPanel</name>
    <message>
        <source>on</source>
        <translation>开</translation>
    </message>
    <message>
        <source>off</source>
        <translation>关</translation>
    </message>
    <message>
        <source>manual</source>
        <translation>手动</translation>
    </message>
    <message>
        <source>auto</source>
        <translation>自动</translation>
    </message>
    <message>
        <source>idle</source>
        <translation>空闲</translation>
    </message>
    <message>
        <source>running</source>
        <translation>运行中</translation>
    </message>
    <message>
        <source>paused</source>
        <translation>已暂停</translation>
    </message>
    <message>
        <source>error</source>
        <translation>故障</translation>
    </message>
    <message>
        <source> (last known)</source>
        <translation>（最后已知）</translation>
    </message>
    <message>
        <source>Motor: %1</source>
        <translation>电机：%1</translation>
    </message>
    <message>
        <source>unknown</source>
        <translation>未知</translation>
    </message>
    <message>
        <source>SAFETY STOP: %1</source>
        <translation>安全停止：%1</translation>
    </message>
    <message>
        <source>Mode: %1</source>
        <translation>模式：%1</translation>
    </message>
    <message>
        <source>State: %1</source>
        <translation>状态：%1</translation>
    </message>
    <message>
        <source>Last value heard; the controller is not connected</source>
        <translation>最后收到的值；控制器未连接</translation>
    </message>
    <message>
        <source>disconnected</source>
        <translation>未连接</translation>
    </message>
    <message>
        <source>reconnecting</source>
        <translation>正在重连</translation>
    </message>
    <message>
        <source>link: %1</source>
        <translation>连接：%1</translation>
    </message>
    <message>
        <source>status: %1</source>
        <translation>状态栏：%1</translation>
    </message>
</context>
<context>
    <name>hmi::LinkSupervisor</name>
    <message>
        <source>refused</source>
        <translation>被拒绝</translation>
    </message>
    <message>
        <source>unreachable</source>
        <translation>不可达</translation>
    </message>
    <message>
        <source>time-out</source>
        <translation>超时</translation>
    </message>
    <message>
        <source>closed by the controller</source>
        <translation>被控制器关闭</translation>
    </message>
    <message>
        <source>connected to %1</source>
        <translation>已连接 %1</translation>
    </message>
    <message>
        <source>connecting to %1</source>
        <translation>正在连接 %1</translation>
    </message>
    <message>
        <source>reconnecting in %1 s</source>
        <translation>%1 秒后重连</translation>
    </message>
    <message>
        <source>disconnected</source>
        <translation>未连接</translation>
    </message>
    <message>
        <source>controller link up: %1</source>
        <translation>控制器连接已建立：%1</translation>
    </message>
    <message>
        <source>automatic reconnection resumed by rc.connect</source>
        <translation>rc.connect 已恢复自动重连</translation>
    </message>
    <message>
        <source>automatic reconnection held off by rc.disconnect until rc.connect</source>
        <translation>rc.disconnect 已暂停自动重连，直到 rc.connect</translation>
    </message>
    <message>
        <source>link closed</source>
        <translation>连接已关闭</translation>
    </message>
    <message>
        <source>no answer from the controller</source>
        <translation>控制器无应答</translation>
    </message>
    <message>
        <source>controller link down (%1)</source>
        <translation>控制器连接断开（%1）</translation>
    </message>
    <message>
        <source>controller link down (%1): reconnecting by itself, every %2 s at first, at most every %3 s</source>
        <translation>控制器连接断开（%1）：自动重连，起初每 %2 秒，最长每 %3 秒</translation>
    </message>
    <message>
        <source>controller link still down (%1)</source>
        <translation>控制器连接仍断开（%1）</translation>
    </message>
    <message>
        <source>no valid controller address in the settings (%1)</source>
        <translation>设置中没有有效的控制器地址（%1）</translation>
    </message>
</context>
<context>
    <name>hmi::WindowMenus</name>
    <message>
        <source>&amp;Theme</source>
        <translation>主题(&amp;T)</translation>
    </message>
    <message>
        <source>&amp;Zoom</source>
        <translation>缩放(&amp;Z)</translation>
    </message>
    <message>
        <source>&amp;Larger</source>
        <translation>放大(&amp;L)</translation>
    </message>
    <message>
        <source>&amp;Smaller</source>
        <translation>缩小(&amp;S)</translation>
    </message>
    <message>
        <source>&amp;Normal size</source>
        <translation>正常大小(&amp;N)</translation>
    </message>
    <message>
        <source>Larger &amp;text</source>
        <translation>放大文字(&amp;T)</translation>
    </message>
    <message>
        <source>Smaller te&amp;xt</source>
        <translation>缩小文字(&amp;X)</translation>
    </message>
    <message>
        <source>Normal text</source>
        <translation>正常文字</translation>
    </message>
    <message>
        <source>&amp;Language</source>
        <translation>语言(&amp;L)</translation>
    </message>
    <message>
        <source>(no themes)</source>
        <translation>（无主题）</translation>
    </message>
    <message>
        <source>The language changes at the next start</source>
        <translation>语言将在下次启动时切换</translation>
    </message>
</context>
<context>
    <name>hmi::UiCommand</name>
    <message>
        <source>Report blank pages, texts wider than their widget and widgets outside a screen of that size (default: the window&apos;s screen)</source>
        <translation>报告空白页面、比所在控件更宽的文字，以及超出该尺寸屏幕的控件（默认：窗口所在的屏幕）</translation>
    </message>
    <message>
        <source>%1: one screen size at most (usage: %2)</source>
        <translation>%1：最多一个屏幕尺寸（用法：%2）</translation>
    </message>
    <message>
        <source>%1: not a screen size: %2 (usage: %3)</source>
        <translation>%1：不是屏幕尺寸：%2（用法：%3）</translation>
    </message>
    <message>
        <source>%1: nothing found on %2x%3</source>
        <translation>%1：在 %2x%3 上未发现问题</translation>
    </message>
    <message>
        <source>Print the widget tree of the window, or below the first widget of that name, as one line of JSON</source>
        <translation>以一行 JSON 输出窗口（或该名称的第一个控件之下）的控件树</translation>
    </message>
    <message>
        <source>Click the first visible widget of that name (and text) with the left button</source>
        <translation>用左键点击该名称（及文字）的第一个可见控件</translation>
    </message>
    <message>
        <source>Save a PNG picture of the window, or of the first widget of that name</source>
        <translation>保存窗口或该名称的第一个控件的 PNG 图片</translation>
    </message>
</context>
<context>
    <name>ThemeCommand</name>
    <message>
        <source>theme.list</source>
        <translation>theme.list</translation>
    </message>
    <message>
        <source>theme.set &lt;name&gt;</source>
        <translation>theme.set &lt;名称&gt;</translation>
    </message>
    <message>
        <source>theme.style &lt;value&gt;</source>
        <translation>theme.style &lt;值&gt;</translation>
    </message>
    <message>
        <source>theme.sheet &lt;group&gt; &lt;name&gt;</source>
        <translation>theme.sheet &lt;组&gt; &lt;名称&gt;</translation>
    </message>
    <message>
        <source>theme.zoom [&lt;size&gt; [&lt;font&gt;]]</source>
        <translation>theme.zoom [&lt;尺寸&gt; [&lt;字体&gt;]]</translation>
    </message>
    <message>
        <source>theme.reload</source>
        <translation>theme.reload</translation>
    </message>
    <message>
        <source>List the themes with their labels; * marks the current one</source>
        <translation>列出主题及其名称；* 标记当前主题</translation>
    </message>
    <message>
        <source>Switch to another theme</source>
        <translation>切换到其他主题</translation>
    </message>
    <message>
        <source>Print a style value with its placeholder expanded at the current theme and zoom</source>
        <translation>按当前主题和缩放展开占位符并打印样式值</translation>
    </message>
    <message>
        <source>Print the style sheet of a render description</source>
        <translation>打印渲染描述生成的样式表</translation>
    </message>
    <message>
        <source>Print the size and font zoom, or set them (above 0, at most 10)</source>
        <translation>打印尺寸缩放和字体缩放，或设置它们（大于0，最大10）</translation>
    </message>
    <message>
        <source>Read the current theme file again and restyle every page</source>
        <translation>重新读取当前主题文件并刷新所有页面的样式</translation>
    </message>
    <message>
        <source>usage: %1</source>
        <translation>用法：%1</translation>
    </message>
    <message>
        <source>no valid style for: %1</source>
        <translation>没有有效的样式：%1</translation>
    </message>
    <message>
        <source>no render description %1/%2</source>
        <translation>没有渲染描述 %1/%2</translation>
    </message>
    <message>
        <source>no style sheet from %1</source>
        <translation>无法从 %1 生成样式表</translation>
    </message>
    <message>
        <source>reloaded %1</source>
        <translation>已重新加载 %1</translation>
    </message>
    <message>
        <source>cannot reload theme %1</source>
        <translation>无法重新加载主题 %1</translation>
    </message>
    <message>
        <source>no such theme: %1</source>
        <translation>没有该主题：%1</translation>
    </message>
    <message>
        <source>current theme: %1</source>
        <translation>当前主题：%1</translation>
    </message>
    <message>
        <source>a zoom factor is a number above 0 and at most 10: %1</source>
        <translation>缩放系数必须是大于0且不超过10的数字：%1</translation>
    </message>
    <message>
        <source>size zoom %1, font zoom %2</source>
        <translation>尺寸缩放 %1，字体缩放 %2</translation>
    </message>
</context>
<context>
    <name>velk::BaseCommand</name>
    <message>
        <source>rc.connect [-ip=&lt;ip&gt; -port=&lt;port&gt;]</source>
        <translation>rc.connect [-ip=&lt;IP地址&gt; -port=&lt;端口&gt;]</translation>
    </message>
    <message>
        <source>Try to connect to controller</source>
        <translation>尝试连接控制器</translation>
    </message>
    <message>
        <source>invalid ip or port specified</source>
        <translation>指定的IP地址或端口无效</translation>
    </message>
    <message>
        <source>rc.disconnect</source>
        <translation>rc.disconnect</translation>
    </message>
    <message>
        <source>Try to disconnect from connected controller</source>
        <translation>尝试断开与当前控制器的连接</translation>
    </message>
    <message>
        <source>controller is not connected</source>
        <translation>控制器未连接</translation>
    </message>
    <message>
        <source>rc.request &lt;command&gt; [-s] [-data=&lt;json&gt;]</source>
        <translation>rc.request &lt;命令&gt; [-s] [-data=&lt;json&gt;]</translation>
    </message>
    <message>
        <source>Send request command to controller, &apos;--sync&apos; option means synchronization, you can either input data json or use request mobj</source>
        <translation>向控制器发送请求命令，&apos;--sync&apos;选项表示同步执行；请求数据可以直接输入json，也可以使用请求mobj</translation>
    </message>
    <message>
        <source>controller is disconnected</source>
        <translation>控制器已断开连接</translation>
    </message>
    <message>
        <source>no such request command</source>
        <translation>不存在该请求命令</translation>
    </message>
    <message>
        <source>invalid data json: %1</source>
        <translation>数据json无效：%1</translation>
    </message>
</context>
<context>
    <name>zarvo::BaseSettingPage</name>
    <message>
        <source>No record</source>
        <translation>无记录</translation>
    </message>
    <message>
        <source>yyyy/MM/dd hh:mm:ss</source>
        <translation>yyyy年MM月dd日 hh:mm:ss</translation>
    </message>
    <message>
        <source>Last updated: %1</source>
        <translation>最后更新：%1</translation>
    </message>
</context>
</TS>
