// SPDX-License-Identifier: ISC
export default {
	title: 'Сотовый модем', status: 'Состояние', messages: 'Сообщения', ussd: 'USSD', settings: 'Настройки',
	terminal: 'AT-команды', username: 'Пользователь', password: 'Пароль', login: 'Войти', logout: 'Выйти',
	wrongLogin: 'Неверное имя или пароль.', expired: 'Сеанс окончен. Войдите снова.',
	cancel: 'Отмена', noRights: 'Этому пользователю модем не доступен.',
	lacking: 'Модем не примет: {0}',

	waiting: 'Запрос к службе модема …', silent: 'Модем пока не отвечает ({0} с).',
	offline: 'Нет связи с маршрутизатором. Повторяем.', absent: 'Служба модема не запущена. Повторяем.',
	denied: 'Этому пользователю это не разрешено.', failed: 'Неожиданный ответ. Повторяем.',

	state: 'Состояние', exactState: 'Точный текст', stateOp: 'Работает', stateInit: 'Идёт инициализация модема',
	stateNosim: 'В выбранном слоте нет SIM-карты', stateError: 'Неисправность',
	errorNo_answer: 'Модем не отвечает', errorSim_removed: 'SIM-карта извлечена',
	errorSim_locked: 'SIM-карта требует PIN или PUK', errorSim_crash: 'SIM-карта не работает',
	errorFatal: 'Внутренний сбой службы модема',
	initProgress: 'Прошло {0} с; обычно 12–30 с, возможны минуты',
	slot1: 'Слот SIM 1', slot2: 'Слот SIM 2', inserted: 'карта вставлена', empty: 'пусто', selected: 'выбран',
	model: 'Модем', firmware: 'Прошивка', imei: 'IMEI', imsi: 'IMSI', iccid: 'ICCID',
	reinits: 'Инициализаций с запуска', received: 'Позиция новейшего сообщения',

	network: 'Сеть', connection: 'Соединение', connected: 'установлено', disconnected: 'нет',
	provider: 'Оператор', type: 'Технология', level: 'Уровень', 'no signal': 'нет сигнала', weak: 'слабый',
	medium: 'средний', good: 'хороший', excellent: 'отличный', ip: 'Адрес', gateway: 'Шлюз',
	rssi: 'RSSI', rsrp: 'RSRP', rsrq: 'RSRQ', sinr: 'SINR', rscp: 'RSCP', ecio: 'Ec/Io',
	chart: '{0}, последние десять минут', chartText: '{0}: сейчас {1} {2}, минимум {3}, максимум {4}', noChart: 'Сигнала пока нет',

	gnss: 'Местоположение', fix: 'Решение', noFix: 'нет', coordinates: 'Координаты', map: 'Открыть на карте',
	altitude: 'Высота', satellites: 'Спутники', satellitesText: 'в решении {0}, видно {1}', time: 'Время решения (UTC)',

	noMessages: 'Сообщений нет.', noneFound: 'Ничего не найдено.', search: 'Поиск', copy: 'Копировать', copied: 'Скопировано',
	exportCsv: 'Выгрузить в CSV', clear: 'Удалить все', clearQuestion: 'Удалить все сообщения из маршрутизатора?',
	isNew: 'новое', position: 'Позиция', number: 'Номер', text: 'Текст', received_at: 'Время',
	ringNote: 'Маршрутизатор хранит 32 сообщения, затем начинает с позиции 1. Прочитанное остаётся здесь, пока страница открыта.',
	lost: 'Прошло непрочитанных сообщений: {0}.',
	send: 'Отправить', sendTitle: 'Новое сообщение', numbers: 'Номера', numbersNote: 'До пяти, через ;',
	tooMany: 'Не больше пяти номеров.', count: 'Знаков: {0}; одно сообщение вмещает {1}, поле — {2}',
	sending: 'отправляется …', queued: 'в очереди', sent: 'отправлено',
	unsure: 'нет ответа вовремя: возможно, отправлено',

	ussdCode: 'Код', ussdRunning: 'Ждём ответа сети …', ussdAnswer: 'Ответ', ussdLast: 'Последний код',
	ussdHidden: 'Ответ этому пользователю не доступен.', none: 'нет',

	modem_slot: 'Слот SIM', modem_rs485_pull: 'Подтяжка RS-485', modem_gnss_power: 'Приёмник GNSS',
	modem_gnss_mode: 'Спутниковые системы', modem_network_type: 'Сеть', modem_network_iptype: 'Тип IP',
	modem_network_iparea: 'Адрес usb0', modem_network_apn: 'Точка доступа (APN)',
	apnNote: 'dynamic: выбирает оператор', down: 'вниз', up: 'вверх', off: 'выключен', on: 'включён', auto: 'автоматически',
	public: 'оператора', private: 'за модемом',
	save: 'Сохранить', nothingChanged: 'Ничего не изменено.',
	applied: 'Модем работает с новыми настройками.', notApplied: 'Инициализация окончилась так: {0}',
	reinit: 'Инициализировать модем', reinitQuestion: 'Инициализировать заново? Связь прервётся.',

	atWarning: 'Неверная AT-команда может прервать связь, заблокировать SIM-карту или стоить денег.',
	atAccept: 'Я знаю, что делаю', atCommand: 'AT-команда', atLog: 'Диалог с модемом',
};
